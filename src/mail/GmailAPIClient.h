#pragma once

#include <string>
#include <vector>

#include "mail/GmailLabelCache.h"
#include "platform/Clock.h"
#include "platform/Endpoints.h"
#include "platform/HttpClient.h"

namespace halcyra {

/// The mailbox of the person whose access token is passed, through the Gmail API. Holds no token.
///
/// Each operation is one or a few requests. Where none of its own is told, a failure is a
/// ProviderError of the domain "GmailAPI" for what Gmail refuses, JsonError for an answer that
/// cannot be read, GmailAPIError::invalidURL for an id that fits into no address and HttpError for
/// a transfer that failed. No text holds the token.
class GmailAPIClient {
 public:
  /// `http`, `clock` and `labels` outlive the client and all its operations.
  GmailAPIClient(HttpClient& http, const Clock& clock, GmailLabelCache& labels,
                 const Endpoints& endpoints);

  /// Ids of the inbox's unread mail of the current local day, at most `maxResults`, in Gmail's
  /// order.
  Task<std::vector<std::string>> listTodayUnreadInboxMessageIds(std::string accessToken,
                                                                int maxResults);

  /// The message as it was received. One that is not UTF-8 is a ProviderError.
  Task<std::string> fetchRawMessage(std::string accessToken, std::string messageId);

  Task<std::vector<std::string>> fetchMessageLabelIds(std::string accessToken,
                                                      std::string messageId);

  /// The id of the user's label with exactly this name, once trimmed; the label is created where
  /// there is none. Throws GmailAPIError::emptyMailboxTag for a blank name.
  Task<std::string> ensureLabelId(std::string accessToken, std::string accountId,
                                  std::string tagName);

  Task<void> modifyMessageLabels(std::string accessToken, std::string messageId,
                                 std::vector<std::string> addLabelIds,
                                 std::vector<std::string> removeLabelIds);

  /// Sends a whole message with its headers, as a thread of its own.
  Task<void> sendRawMessage(std::string accessToken, std::string rfc822Text);

  /// One line for each of the latest sent mails, without those that failed or say nothing. Never
  /// fails: without a list there are no lines.
  Task<std::vector<std::string>> recentSentSnippets(std::string accessToken, int maxResults);

 private:
  struct Call {
    std::string method;
    /// Below the mailbox's own path.
    std::string target;
    std::string body;
    std::size_t answerLimit = HttpRequest().answerLimit;
    bool statusSuffices = false;
  };

  Task<std::string> answerTo(std::string accessToken, Call call);
  Task<std::string> findOrCreateLabel(std::string accessToken, std::string name);
  Task<std::string> createLabel(std::string accessToken, std::string name);

  HttpClient& http_;
  const Clock& clock_;
  GmailLabelCache& labels_;
  const std::string mailboxURL_;
};

}  // namespace halcyra

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "mail/GraphDiagnostics.h"
#include "mail/GraphExchange.h"
#include "mail/GraphInboxListing.h"
#include "mail/GraphMailRecords.h"
#include "platform/Log.h"

namespace halcyra {

/// The mailbox of the person whose access token is passed, through Microsoft Graph. Holds no token.
///
/// Where none of its own is told, a failure is a ProviderError of the domain "GraphMail" for what
/// Graph refuses, JsonError for an answer that cannot be read and HttpError for a transfer that
/// failed. No text holds the token. What only reads is tried again after a failed transfer.
class GraphMailClient {
 public:
  /// `http`, `clock` and `log` outlive the client and all its operations.
  GraphMailClient(HttpClient& http, Clock& clock, Log& log, const Endpoints& endpoints);
  GraphMailClient(const GraphMailClient&) = delete;
  GraphMailClient& operator=(const GraphMailClient&) = delete;

  /// The inbox's unread mail of the current local day, at most `limit`, by the first of several
  /// queries that this mailbox's server accepts; those it refuses are logged.
  Task<std::vector<InboxUnreadItem>> listTodayUnreadInbox(std::string accessToken, int limit);

  /// The message as it was received; nothing where Graph does not give it, or not as UTF-8.
  Task<std::optional<std::string>> fetchRawMessage(std::string accessToken, std::string messageId);

  /// A plain message made of Graph's record, for those without a raw text.
  Task<std::string> fetchSynthesizedMessage(std::string accessToken, std::string messageId);

  /// Marks the message read and, unless the name is absent or blank, adds a category.
  Task<void> markRead(std::string accessToken, std::string messageId,
                      std::optional<std::string> categoryName);

  /// Does nothing for a blank name, and nothing visible when the message has 25 others. The list is
  /// read, changed and written: a change by someone else in between is lost.
  Task<void> addCategory(std::string accessToken, std::string messageId, std::string categoryName);

  /// Answers the sender; Graph threads the reply.
  Task<void> replyToMessage(std::string accessToken, std::string messageId, std::string text);

  Task<void> sendMail(std::string accessToken, OutboundMessage message);

  /// One line for each of the `top` latest sent mails that says anything; none when Graph refuses
  /// or its answer cannot be read. Throws HttpError for a transfer that failed.
  Task<std::vector<std::string>> recentSentSnippets(std::string accessToken, int top);

  /// Never throws: what fails is told or missing in the report.
  Task<InboxDiagnostics> loadInboxDiagnostics(std::string accessToken, int limit);

 private:
  struct MessagePatch {
    std::optional<bool> isRead;
    std::optional<std::vector<std::string>> categories;
  };

  Task<std::vector<std::string>> loadCategories(std::string accessToken, std::string messageId);
  Task<void> patchMessage(std::string accessToken, std::string messageId, MessagePatch patch);

  GraphExchange exchange_;
  GraphInboxListing listing_;
  GraphDiagnostics diagnostics_;
};

}  // namespace halcyra

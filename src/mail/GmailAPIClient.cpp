#include "mail/GmailAPIClient.h"

#include <algorithm>

#include "mail/ApiRequest.h"
#include "mail/DayInterval.h"
#include "mail/GmailAPIError.h"
#include "mail/GmailReplies.h"
#include "platform/ProviderError.h"
#include "text/Base64.h"
#include "text/Json.h"
#include "text/PercentEncoding.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

using nlohmann::json;

constexpr const char* domain = "GmailAPI";

std::string listTarget(std::string query, int maxResults) {
  return "/messages?" +
         formEncoded({{"q", std::move(query)}, {"maxResults", std::to_string(maxResults)}});
}

// Gmail's ids need no encoding, and one from elsewhere is not made to fit.
std::string messageTarget(const std::string& messageId, const std::string& format) {
  return "/messages/" + messageId + "?" + formEncoded({{"format", format}});
}

std::string base64Url(std::string_view text) {
  std::string encoded = encodeBase64(text);
  std::replace(encoded.begin(), encoded.end(), '+', '-');
  std::replace(encoded.begin(), encoded.end(), '/', '_');
  encoded.erase(encoded.find_last_not_of('=') + 1);
  return encoded;
}

bool isUserLabel(const GmailLabel& label, const std::string& name) {
  return label.type.value_or("user") == "user" && label.name == name &&
         !label.id.value_or("").empty();
}

}  // namespace

GmailAPIClient::GmailAPIClient(HttpClient& http, const Clock& clock, GmailLabelCache& labels,
                               const Endpoints& endpoints)
    : http_(http),
      clock_(clock),
      labels_(labels),
      mailboxURL_(endpoints.google + "/gmail/v1/users/me") {}

Task<std::string> GmailAPIClient::answerTo(std::string accessToken, Call call) {
  HttpRequest request = apiRequest(std::move(call.method), mailboxURL_ + call.target, accessToken,
                                   std::move(call.body));
  request.answerLimit = call.answerLimit;
  request.statusSuffices = call.statusSuffices;
  request.lossIsTold = call.statusSuffices;
  HttpResponse response;
  try {
    Task<HttpResponse> exchange = http_.perform(std::move(request));
    response = co_await std::move(exchange);
  } catch (const HttpError& error) {
    if (error.kind() == HttpError::Kind::invalidURL) throw GmailAPIError::invalidURL();
    if (error.kind() != HttpError::Kind::notHTTP) throw;
    throw ProviderError(domain, ProviderError::notHTTP, "Not an HTTP response");
  }
  if (!isSuccess(response)) {
    const std::string description =
        gmailErrorDescription(response.status, shownBody(response, accessToken));
    // Once more, since JSON has more spellings than one.
    throw ProviderError(domain, response.status, withoutToken(description, accessToken));
  }
  co_return std::move(response.body);
}

Task<std::vector<std::string>> GmailAPIClient::listTodayUnreadInboxMessageIds(
    std::string accessToken, int maxResults) {
  const DayInterval today = currentDay(clock_);
  const std::string query = "is:unread in:inbox after:" + slashedDate(clock_, today.start) +
                            " before:" + slashedDate(clock_, today.end);
  Task<std::string> answer =
      answerTo(std::move(accessToken), {"GET", listTarget(query, maxResults), {}});
  const std::string body = co_await std::move(answer);
  std::vector<std::string> ids = gmailMessageIds(body);
  if (ids.size() > static_cast<std::size_t>(maxResults))
    ids.resize(static_cast<std::size_t>(maxResults));
  co_return ids;
}

Task<std::string> GmailAPIClient::fetchRawMessage(std::string accessToken, std::string messageId) {
  Task<std::string> answer = answerTo(
      std::move(accessToken), {"GET", messageTarget(messageId, "raw"), {}, messageAnswerLimit});
  const std::string body = co_await std::move(answer);
  co_return gmailRawMessage(body);
}

Task<std::vector<std::string>> GmailAPIClient::fetchMessageLabelIds(std::string accessToken,
                                                                    std::string messageId) {
  Task<std::string> answer =
      answerTo(std::move(accessToken), {"GET", messageTarget(messageId, "minimal"), {}});
  const std::string body = co_await std::move(answer);
  co_return gmailLabelIds(body);
}

Task<std::string> GmailAPIClient::ensureLabelId(std::string accessToken, std::string accountId,
                                                std::string tagName) {
  const std::string name(trimmed(tagName));
  if (name.empty()) throw GmailAPIError::emptyMailboxTag();
  if (const auto known = labels_.find(accountId, name)) co_return *known;
  Task<std::string> finding = findOrCreateLabel(std::move(accessToken), name);
  const std::string id = co_await std::move(finding);
  labels_.insert(accountId, name, id);
  co_return id;
}

Task<std::string> GmailAPIClient::findOrCreateLabel(std::string accessToken, std::string name) {
  Task<std::string> answer = answerTo(accessToken, {"GET", "/labels", {}});
  const std::string body = co_await std::move(answer);
  for (const GmailLabel& label : gmailLabels(body)) {
    if (isUserLabel(label, name)) co_return *label.id;
  }
  Task<std::string> creation = createLabel(std::move(accessToken), std::move(name));
  co_return co_await std::move(creation);
}

Task<std::string> GmailAPIClient::createLabel(std::string accessToken, std::string name) {
  const json label = {
      {"name", name}, {"labelListVisibility", "labelShow"}, {"messageListVisibility", "show"}};
  Task<std::string> answer = answerTo(std::move(accessToken), {"POST", "/labels", jsonText(label)});
  const std::string body = co_await std::move(answer);
  std::string id = gmailCreatedLabelId(body);
  if (id.empty()) throw ProviderError(domain, 200, "Create label returned no id.");
  co_return id;
}

Task<void> GmailAPIClient::modifyMessageLabels(std::string accessToken, std::string messageId,
                                               std::vector<std::string> addLabelIds,
                                               std::vector<std::string> removeLabelIds) {
  json change = json::object();
  if (!addLabelIds.empty()) change["addLabelIds"] = addLabelIds;
  if (!removeLabelIds.empty()) change["removeLabelIds"] = removeLabelIds;
  Task<std::string> answer =
      answerTo(std::move(accessToken), {.method = "POST",
                                        .target = "/messages/" + messageId + "/modify",
                                        .body = jsonText(change),
                                        .statusSuffices = true});
  co_await std::move(answer);
}

Task<void> GmailAPIClient::sendRawMessage(std::string accessToken, std::string rfc822Text) {
  const json message = {{"raw", base64Url(rfc822Text)}};
  Task<std::string> answer = answerTo(std::move(accessToken), {.method = "POST",
                                                               .target = "/messages/send",
                                                               .body = jsonText(message),
                                                               .statusSuffices = true});
  co_await std::move(answer);
}

Task<std::vector<std::string>> GmailAPIClient::recentSentSnippets(std::string accessToken,
                                                                  int maxResults) {
  std::vector<std::string> ids;
  try {
    Task<std::string> answer =
        answerTo(accessToken, {"GET", listTarget("in:sent", maxResults), {}});
    const std::string body = co_await std::move(answer);
    ids = gmailMessageIds(body);
  } catch (const std::runtime_error&) {
    co_return std::vector<std::string>();  // a sample is a help, not a need
  }
  std::vector<std::string> lines;
  for (const std::string& id : ids) {
    try {
      Task<std::string> answer = answerTo(accessToken, {"GET", messageTarget(id, "metadata"), {}});
      const std::string body = co_await std::move(answer);
      std::string line = gmailSentLine(body);
      if (!line.empty()) lines.push_back(std::move(line));
    } catch (const std::runtime_error&) {
      // The others still tell something.
    }
  }
  co_return lines;
}

}  // namespace halcyra

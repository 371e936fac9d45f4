#include "mail/GraphMailClient.h"

#include <algorithm>

#include "mail/ApiRequest.h"
#include "mail/GraphCategories.h"
#include "mail/GraphMessageText.h"
#include "mail/GraphReplies.h"
#include "text/Json.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

using nlohmann::json;
using Address = GraphExchange::Address;

std::string withBlanksForBreaks(std::string subject) {
  std::replace(subject.begin(), subject.end(), '\r', ' ');
  std::replace(subject.begin(), subject.end(), '\n', ' ');
  return subject;
}

json recipientsJson(const std::vector<EmailRecipient>& recipients) {
  json list = json::array();
  for (const EmailRecipient& recipient : recipients) {
    list.push_back({{"emailAddress", {{"address", recipient.emailAddress.address}}}});
  }
  return list;
}

json headersJson(const std::vector<Header>& headers) {
  json list = json::array();
  for (const Header& header : headers) {
    list.push_back({{"name", header.name}, {"value", header.value}});
  }
  return list;
}

std::string sendMailPayload(const OutboundMessage& message) {
  json outbound = {
      {"subject", withBlanksForBreaks(message.subject)},
      {"body", {{"contentType", message.body.contentType}, {"content", message.body.content}}},
      {"toRecipients", recipientsJson(message.toRecipients)}};
  if (message.internetMessageHeaders) {
    outbound["internetMessageHeaders"] = headersJson(*message.internetMessageHeaders);
  }
  return jsonText({{"message", std::move(outbound)}, {"saveToSentItems", true}});
}

}  // namespace

GraphMailClient::GraphMailClient(HttpClient& http, Clock& clock, Log& log,
                                 const Endpoints& endpoints)
    : exchange_(http, clock, endpoints),
      listing_(exchange_, clock, log),
      diagnostics_(exchange_, listing_) {}

Task<std::vector<InboxUnreadItem>> GraphMailClient::listTodayUnreadInbox(std::string accessToken,
                                                                         int limit) {
  return listing_.listTodayUnread(std::move(accessToken), limit);
}

Task<std::optional<std::string>> GraphMailClient::fetchRawMessage(std::string accessToken,
                                                                  std::string messageId) {
  Task<HttpResponse> reading = exchange_.get(
      std::move(accessToken), {graphMessageTarget(messageId, "/$value"), Address::message,
                               "application/octet-stream", messageAnswerLimit});
  HttpResponse response = co_await std::move(reading);
  const bool isUsable = isSuccess(response) && !response.body.empty() && isValidUtf8(response.body);
  if (!isUsable) co_return std::nullopt;
  co_return std::move(response.body);
}

Task<std::string> GraphMailClient::fetchSynthesizedMessage(std::string accessToken,
                                                           std::string messageId) {
  const std::string query =
      graphQuery({{"$select", "subject,from,receivedDateTime,internetMessageId,body,uniqueBody"}});
  Task<HttpResponse> reading = exchange_.get(
      std::move(accessToken),
      {.target = graphMessageTarget(messageId, query), .answerLimit = messageAnswerLimit});
  const HttpResponse response = co_await std::move(reading);
  if (!isSuccess(response)) {
    throw graphError(response.status, "Microsoft Graph gave a bad answer (HTTP " +
                                          std::to_string(response.status) + ").");
  }
  co_return synthesizedMessage(graphMessage(response.body), messageId);
}

Task<void> GraphMailClient::markRead(std::string accessToken, std::string messageId,
                                     std::optional<std::string> categoryName) {
  const std::string name = halcyra::categoryName(categoryName.value_or(""));
  MessagePatch patch{true, std::nullopt};
  if (!name.empty()) {
    Task<std::vector<std::string>> loading = loadCategories(accessToken, messageId);
    patch.categories = co_await std::move(loading);
    addCategoryName(*patch.categories, name);
  }
  Task<void> patching = patchMessage(accessToken, messageId, std::move(patch));
  co_await std::move(patching);
}

Task<void> GraphMailClient::addCategory(std::string accessToken, std::string messageId,
                                        std::string categoryName) {
  const std::string name = halcyra::categoryName(categoryName);
  if (name.empty()) co_return;
  Task<std::vector<std::string>> loading = loadCategories(accessToken, messageId);
  std::vector<std::string> categories = co_await std::move(loading);
  MessagePatch patch;
  if (addCategoryName(categories, name) == CategoryAdded::yes) {
    patch.categories = std::move(categories);
  }
  Task<void> patching = patchMessage(accessToken, messageId, std::move(patch));
  co_await std::move(patching);
}

Task<void> GraphMailClient::replyToMessage(std::string accessToken, std::string messageId,
                                           std::string text) {
  const json reply = {{"comment", replyComment(text)}};
  Task<void> sending = exchange_.change(
      std::move(accessToken),
      {"POST", graphMessageTarget(messageId, "/reply"), jsonText(reply), Address::reply});
  co_await std::move(sending);
}

Task<void> GraphMailClient::sendMail(std::string accessToken, OutboundMessage message) {
  return exchange_.change(std::move(accessToken),
                          {"POST", "/me/sendMail", sendMailPayload(message), Address::message});
}

Task<std::vector<std::string>> GraphMailClient::recentSentSnippets(std::string accessToken,
                                                                   int top) {
  const std::string query = graphQuery({{"$top", std::to_string(top)},
                                        {"$orderby", "sentDateTime desc"},
                                        {"$select", "subject,bodyPreview"}});
  Task<HttpResponse> reading = exchange_.get(
      std::move(accessToken), {"/me/mailFolders/sentitems/messages" + query, Address::list});
  const HttpResponse response = co_await std::move(reading);
  std::vector<std::string> lines;
  try {
    if (isSuccess(response)) lines = graphSentLines(response.body);
  } catch (const JsonError&) {
    // A sample is a help, not a need.
  }
  co_return lines;
}

Task<InboxDiagnostics> GraphMailClient::loadInboxDiagnostics(std::string accessToken, int limit) {
  return diagnostics_.load(std::move(accessToken), limit);
}

Task<std::vector<std::string>> GraphMailClient::loadCategories(std::string accessToken,
                                                               std::string messageId) {
  Task<HttpResponse> reading =
      exchange_.get(std::move(accessToken),
                    {graphMessageTarget(messageId, graphQuery({{"$select", "categories"}}))});
  const HttpResponse response = co_await std::move(reading);
  if (!isSuccess(response)) {
    throw graphError(response.status, "Could not load message categories.");
  }
  co_return graphCategories(response.body);
}

Task<void> GraphMailClient::patchMessage(std::string accessToken, std::string messageId,
                                         MessagePatch patch) {
  json body = json::object();
  if (patch.isRead) body["isRead"] = *patch.isRead;
  if (patch.categories) body["categories"] = *patch.categories;
  return exchange_.change(std::move(accessToken), {"PATCH", graphMessageTarget(messageId),
                                                   jsonText(body), Address::message});
}

}  // namespace halcyra

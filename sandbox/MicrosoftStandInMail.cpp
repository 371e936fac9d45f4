// The mail part of the stand-in.
#include <algorithm>

#include "mail/Headers.h"
#include "sandbox/JsonAnswer.h"
#include "sandbox/MicrosoftStandIn.h"
#include "text/Case.h"
#include "text/Utf8.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

HttpResponse badRequest(std::string_view message) {
  return graphError(400, "BadRequest", message);
}

HttpResponse noSuchOutlookItem() {
  return graphError(404, "ErrorItemNotFound",
                    "The specified object was not found in the store., The process failed to get "
                    "the correct properties.");
}

HttpResponse unreadableBody() {
  return badRequest(
      "Unable to read JSON request payload. Please ensure Content-Type header is set "
      "and payload is of valid JSON format.");
}

HttpResponse noProperty(const std::string& name, const char* type) {
  return badRequest("Could not find a property named '" + name + "' on type 'microsoft.graph." +
                    type + "'.");
}

bool isTexts(const json& value) {
  return value.is_array() &&
         std::ranges::all_of(value, [](const json& each) { return each.is_string(); });
}

bool hasRecipients(const json& message) {
  const json recipients = message.value("toRecipients", json::array());
  if (!recipients.is_array() || recipients.empty()) return false;
  return std::ranges::all_of(recipients, [](const json& each) {
    const json address = each.value("/emailAddress/address"_json_pointer, json());
    return address.is_string() && address.get<std::string>().find('@') != std::string::npos;
  });
}

std::string rawOf(const json& message) {
  const auto text = [&](const char* pointer) {
    return message.value(json::json_pointer(pointer), std::string());
  };
  return "Subject: " + text("/subject") +
         "\r\nTo: " + text("/toRecipients/0/emailAddress/address") + "\r\n\r\n" +
         text("/body/content");
}

std::string subjectOf(const OutlookMessage& message) {
  const std::string raw = repairedUtf8(message.raw);
  return headerValue("Subject", splitHeaders(raw).headers).value_or("");
}

}  // namespace

std::optional<HttpResponse> MicrosoftStandIn::refusedQuery(const ODataQuery& query) const {
  const bool filtersByDate = query.filtersBy("receivedDateTime");
  if ((refusals_.filter && !query.filter.empty()) || (refusals_.dateFilter && filtersByDate) ||
      (refusals_.orderWithDateFilter && filtersByDate && !query.orderBy.empty())) {
    return graphError(400, "InefficientFilter",
                      "The restriction or sort order is too complex for this operation.");
  }
  for (const std::string& name : query.select) {
    const bool isRefused = refusals_.inferenceClassification && name == "inferenceClassification";
    if (isRefused || !isMessageProperty(name)) return noProperty(name, "message");
  }
  return std::nullopt;
}

HttpResponse MicrosoftStandIn::listed(std::string_view folderId,
                                      const RequestTarget& target) const {
  const auto query = oDataQuery(target.query);
  if (!query) return badRequest("Invalid query option.");
  if (auto refusal = refusedQuery(*query)) return std::move(*refusal);
  json value = json::array();
  for (const OutlookMessage* message : store_.search(folderId, *query)) {
    value.push_back(messageResource(*message, *query));
  }
  return jsonAnswer(200, {{"value", std::move(value)}});
}

HttpResponse MicrosoftStandIn::listFolder(const ServedRequest&, const RequestTarget& target) {
  const auto* folder = OutlookStore::folderOf(target.segments[3]);
  return folder == nullptr ? noSuchOutlookItem() : listed(folder->id, target);
}

HttpResponse MicrosoftStandIn::listAll(const ServedRequest&, const RequestTarget& target) {
  return listed("", target);
}

json MicrosoftStandIn::folderResource(const OutlookStore::Folder& folder) const {
  json resource = {{"id", folder.id}, {"displayName", folder.displayName}};
  const auto isInside = [&](const auto& message) { return message.folder == folder.id; };
  const auto isUnread = [&](const auto& message) { return isInside(message) && !message.isRead; };
  resource["totalItemCount"] = std::ranges::count_if(store_.messages(), isInside);
  resource["unreadItemCount"] = std::ranges::count_if(store_.messages(), isUnread);
  if (!refusals_.wellKnownFolderName) resource["wellKnownFolderName"] = folder.wellKnownName;
  return resource;
}

HttpResponse MicrosoftStandIn::listFolders(const ServedRequest&, const RequestTarget& target) {
  const auto query = oDataQuery(target.query);
  if (!query) return badRequest("Invalid query option.");
  if (refusals_.wellKnownFolderName && query->selects("wellKnownFolderName")) {
    return noProperty("wellKnownFolderName", "mailFolder");
  }
  json value = json::array();
  for (const auto& folder : OutlookStore::folders()) value.push_back(folderResource(folder));
  return jsonAnswer(200, {{"value", std::move(value)}});
}

HttpResponse MicrosoftStandIn::getFolder(const ServedRequest&, const RequestTarget& target) {
  const auto* folder = OutlookStore::folderOf(target.segments[3]);
  return folder == nullptr ? noSuchOutlookItem() : jsonAnswer(200, folderResource(*folder));
}

HttpResponse MicrosoftStandIn::getMessage(const ServedRequest&, const RequestTarget& target) {
  const auto query = oDataQuery(target.query);
  if (!query) return badRequest("Invalid query option.");
  if (auto refusal = refusedQuery(*query)) return std::move(*refusal);
  const OutlookMessage* message = store_.find(target.segments[3]);
  return message == nullptr ? noSuchOutlookItem()
                            : jsonAnswer(200, messageResource(*message, *query));
}

HttpResponse MicrosoftStandIn::getRaw(const ServedRequest&, const RequestTarget& target) {
  const OutlookMessage* message = store_.find(target.segments[3]);
  if (message == nullptr || refusals_.rawText) return noSuchOutlookItem();
  return {200, {{"Content-Type", "text/plain"}}, message->raw};
}

HttpResponse MicrosoftStandIn::patchMessage(const ServedRequest& request,
                                            const RequestTarget& target) {
  const auto body = jsonBody(request);
  if (!body) return unreadableBody();
  OutlookMessage* message = store_.find(target.segments[3]);
  if (message == nullptr) return noSuchOutlookItem();
  const json isRead = body->value("isRead", json(message->isRead));
  const json categories = body->value("categories", json(message->categories));
  if (!isRead.is_boolean() || !isTexts(categories)) return unreadableBody();
  message->isRead = isRead.get<bool>();
  message->categories = categories.get<std::vector<std::string>>();
  return jsonAnswer(200, messageResource(*message, {}));
}

HttpResponse MicrosoftStandIn::replyTo(const ServedRequest& request, const RequestTarget& target) {
  const auto body = jsonBody(request);
  if (!body || !body->value("comment", json()).is_string()) return unreadableBody();
  const OutlookMessage* message = store_.find(target.segments[3]);
  if (message == nullptr) return noSuchOutlookItem();
  const std::string comment = (*body)["comment"].get<std::string>();
  sent_.push_back({{"comment", comment}, {"inReplyTo", message->id}});
  store_.add({"", OutlookStore::folderOf("sentitems")->id,
              "Subject: RE: " + subjectOf(*message) +
                  "\r\nContent-Type: text/html; charset=utf-8\r\n\r\n" + comment,
              std::chrono::system_clock::now(), true});
  return {202, {}, {}};
}

HttpResponse MicrosoftStandIn::sendMail(const ServedRequest& request, const RequestTarget&) {
  const auto body = jsonBody(request);
  if (!body || !body->value("message", json()).is_object()) return unreadableBody();
  const json& message = (*body)["message"];
  if (!hasRecipients(message)) {
    return graphError(400, "ErrorInvalidRecipients", "At least one recipient is not valid.");
  }
  for (const json& header : message.value("internetMessageHeaders", json::array())) {
    const std::string name = header.value("name", std::string());
    if (!refusals_.standardHeaders || asciiLowercased(name).starts_with("x-")) continue;
    return graphError(
        400, "InvalidInternetMessageHeader",
        "The internet message header name '" + name + "' should start with 'x-' or 'X-'.");
  }
  sent_.push_back(*body);
  if (body->value("saveToSentItems", true)) {
    store_.add({"", OutlookStore::folderOf("sentitems")->id, rawOf(message),
                std::chrono::system_clock::now(), true});
  }
  return {202, {}, {}};
}

}  // namespace halcyra::sandbox

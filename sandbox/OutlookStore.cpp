#include "sandbox/OutlookStore.h"

#include <algorithm>
#include <functional>

#include "mail/MailAddress.h"
#include "mail/ParsedMail.h"
#include "text/EscapedHtml.h"
#include "text/Graphemes.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

InternetMoment milliseconds(std::chrono::system_clock::time_point moment) {
  return std::chrono::floor<std::chrono::milliseconds>(moment);
}

bool satisfies(const OutlookMessage& message, const ODataClause& clause) {
  if (clause.property == "isRead") return message.isRead == (clause.value == "true");
  return holds(clause, milliseconds(message.received));
}

std::string asHtml(std::string_view text) {
  std::string html = "<html><head></head><body>";
  for (const char c : escapedHtml(text)) {
    if (c == '\n') {
      html += "<br/>";
    } else {
      html += c;
    }
  }
  return html + "</body></html>";
}

json senderOf(const ParsedMail& mail) {
  const std::string address = extractMailAddress(mail.from).value_or("");
  const std::size_t angle = mail.from.find('<');
  const std::string_view name = std::string_view(mail.from).substr(0, angle);
  return {{"name", angle == mail.from.npos ? address : trimmedOf(name, " \"")},
          {"address", address}};
}

json everyProperty(const OutlookMessage& message) {
  const ParsedMail mail =
      ParsedMail::fromRawMessage("", "", 0, repairedUtf8(message.raw)).value_or(ParsedMail());
  const std::string moment = internetDateTime(milliseconds(message.received));
  const json body = {{"contentType", "html"}, {"content", asHtml(mail.bodyText)}};
  return {{"id", message.id},
          {"subject", mail.subject},
          {"bodyPreview", graphemePrefix(mail.bodyText, 255)},
          {"from", {{"emailAddress", senderOf(mail)}}},
          {"receivedDateTime", moment},
          {"sentDateTime", moment},
          {"isRead", message.isRead},
          {"inferenceClassification", message.inferenceClassification},
          {"internetMessageId", angleBracketed(mail.messageID)},
          {"categories", message.categories},
          {"parentFolderId", message.folder},
          {"body", body},
          {"uniqueBody", body}};
}

}  // namespace

std::string OutlookStore::add(OutlookMessage message) {
  message.id = "AAMkAGI2/TG93+" + std::to_string(messages_.size() + 1) + "AAA=";
  messages_.push_back(std::move(message));
  return messages_.back().id;
}

OutlookMessage* OutlookStore::find(std::string_view id) {
  const auto found = std::ranges::find(messages_, id, &OutlookMessage::id);
  return found == messages_.end() ? nullptr : &*found;
}

std::vector<const OutlookMessage*> OutlookStore::search(std::string_view folder,
                                                        const ODataQuery& query) const {
  std::vector<const OutlookMessage*> found;
  for (const OutlookMessage& message : messages_) {
    const bool isInside = folder.empty() || message.folder == folder;
    const bool fitsAll = std::ranges::all_of(
        query.filter, [&](const ODataClause& clause) { return satisfies(message, clause); });
    if (isInside && fitsAll) found.push_back(&message);
  }
  std::ranges::stable_sort(found, std::less(), &OutlookMessage::received);
  if (query.orderBy.empty() || query.descending) std::ranges::reverse(found);
  if (found.size() > query.top) found.resize(query.top);
  return found;
}

const std::vector<OutlookStore::Folder>& OutlookStore::folders() {
  static const std::vector<Folder> all = {{"AQMkInbox=", "inbox", "Inbox"},
                                          {"AQMkSent=", "sentitems", "Sent Items"},
                                          {"AQMkArchive=", "archive", "Archive"}};
  return all;
}

const OutlookStore::Folder* OutlookStore::folderOf(std::string_view name) {
  for (const Folder& folder : folders()) {
    if (folder.id == name || folder.wellKnownName == name) return &folder;
  }
  return nullptr;
}

json messageResource(const OutlookMessage& message, const ODataQuery& query) {
  const json all = everyProperty(message);
  json resource = {{"@odata.etag", "W/\"sandbox\""}, {"id", message.id}};
  for (const auto& [name, value] : all.items()) {
    const bool isWanted = query.select.empty() ? name != "uniqueBody" : query.selects(name);
    if (isWanted) resource[name] = value;
  }
  return resource;
}

bool isMessageProperty(std::string_view name) {
  static const json known = everyProperty(OutlookMessage());
  return known.contains(name);
}

}  // namespace halcyra::sandbox

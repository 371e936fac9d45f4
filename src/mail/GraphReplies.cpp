#include "mail/GraphReplies.h"

#include "mail/SentSnippet.h"
#include "text/Graphemes.h"
#include "text/Json.h"
#include "text/JsonFields.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

using nlohmann::json;

std::optional<std::string> contentOf(const json& message, std::string_view key) {
  const json* body = objectField(message, key);
  return body == nullptr ? std::nullopt : textField(*body, "content");
}

GraphMessage::Sender senderOf(const json& message) {
  const json* from = objectField(message, "from");
  const json* address = from == nullptr ? nullptr : objectField(*from, "emailAddress");
  if (address == nullptr) return {};
  return {textField(*address, "name"), textField(*address, "address")};
}

std::string folderLabel(const std::optional<std::string>& folderId,
                        const std::map<std::string, std::string>& displayNameById) {
  if (!folderId) return "unknown folder";
  const auto known = displayNameById.find(*folderId);
  if (known != displayNameById.end()) return known->second;
  return "folder id…" + std::string(graphemePrefix(*folderId, 6));
}

}  // namespace

std::vector<GraphListedMessage> graphListedMessages(std::string_view body) {
  return readArray(parseJson(body), "value", [](const json& message) {
    return GraphListedMessage{requiredTextField(message, "id"), flagField(message, "isRead"),
                              textField(message, "inferenceClassification"),
                              textField(message, "receivedDateTime")};
  });
}

GraphMessage graphMessage(std::string_view body) {
  const json message = parseJson(body);
  return {textField(message, "subject"),
          senderOf(message),
          textField(message, "receivedDateTime"),
          textField(message, "internetMessageId"),
          contentOf(message, "body"),
          contentOf(message, "uniqueBody")};
}

std::vector<std::string> graphCategories(std::string_view body) {
  return textsField(parseJson(body), "categories");
}

std::vector<std::string> graphSentLines(std::string_view body) {
  auto lines = readArray(parseJson(body), "value", [](const json& message) {
    return sentSnippet(textField(message, "subject").value_or(""),
                       textField(message, "bodyPreview").value_or(""));
  });
  std::erase(lines, std::string());
  return lines;
}

std::optional<std::string> graphMailbox(std::string_view body) {
  const json person = parseJson(body);
  std::string mail = textField(person, "mail").value_or("");
  trim(mail);
  auto principal = textField(person, "userPrincipalName");
  return mail.empty() ? principal : mail;
}

GraphInboxCounts graphInboxCounts(std::string_view body) {
  const json inbox = parseJson(body);
  return {integerField(inbox, "unreadItemCount"), integerField(inbox, "totalItemCount")};
}

GraphFolders graphFolders(std::string_view body) {
  GraphFolders folders;
  const json document = parseJson(body);
  for (const json& folder : arrayField(document, "value")) {
    const auto name = textField(folder, "displayName");
    const auto id = textField(folder, "id");
    if (id && name) folders.displayNameById[*id] = *name;
    folders.lines.push_back({name.value_or(""), integerField(folder, "totalItemCount").value_or(0),
                             integerField(folder, "unreadItemCount").value_or(0),
                             textField(folder, "wellKnownFolderName")});
  }
  return folders;
}

std::vector<RecentMailLine> graphRecentMail(
    std::string_view body, const std::map<std::string, std::string>& displayNameById) {
  return readArray(parseJson(body), "value", [&](const json& message) {
    std::string subject = textField(message, "subject").value_or("");
    trim(subject);
    return RecentMailLine{subject.empty() ? "(no subject)" : subject,
                          flagField(message, "isRead").value_or(false),
                          folderLabel(textField(message, "parentFolderId"), displayNameById)};
  });
}

}  // namespace halcyra

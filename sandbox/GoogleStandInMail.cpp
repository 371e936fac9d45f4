// The Gmail API's part of the stand-in.
#include <algorithm>
#include <charconv>

#include "mail/Headers.h"
#include "mail/ParsedMail.h"
#include "sandbox/GoogleStandIn.h"
#include "sandbox/JsonAnswer.h"
#include "text/Base64.h"
#include "text/ControlCharacters.h"
#include "text/EscapedHtml.h"
#include "text/Graphemes.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

HttpResponse invalidArgument(std::string_view message) {
  return googleError(400, "INVALID_ARGUMENT", "invalidArgument", message);
}

HttpResponse noSuchGmailMessage() {
  return googleError(404, "NOT_FOUND", "notFound", "Requested entity was not found.");
}

HttpResponse notJson() {
  return googleError(400, "INVALID_ARGUMENT", "badRequest",
                     "Invalid JSON payload received. Expected an object.");
}

// RFC 4648, section 5, with or without padding.
std::optional<std::string> fromBase64Url(std::string text) {
  if (text.find_first_of("+/") != text.npos) return std::nullopt;
  std::replace(text.begin(), text.end(), '-', '+');
  std::replace(text.begin(), text.end(), '_', '/');
  while (text.size() % 4 != 0) text += '=';
  return decodeBase64(text);
}

std::string toBase64Url(std::string_view bytes) {
  std::string text = encodeBase64(bytes);  // Gmail keeps the padding
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  return text;
}

json headersOf(const GmailMessage& message) {
  json headers = json::array();
  const std::string raw = repairedUtf8(message.raw);
  for (const char* name : {"From", "To", "Subject", "Date", "Message-ID"}) {
    if (const auto value = headerValue(name, splitHeaders(raw).headers)) {
      headers.push_back({{"name", name}, {"value", *value}});
    }
  }
  return headers;
}

// Escaped, as Gmail gives it.
std::string snippetOf(const GmailMessage& message) {
  const auto mail = ParsedMail::fromRawMessage("", "", 0, repairedUtf8(message.raw));
  if (!mail) return {};
  const std::string line = onOneLine(graphemePrefix(mail->bodyText, 200));
  return escapedHtml(trimmed(line));
}

json messageJson(const GmailMessage& message, const std::string& format) {
  const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(message.received);
  json result = {{"id", message.id},
                 {"threadId", message.id},
                 {"labelIds", message.labels},
                 {"snippet", snippetOf(message)},
                 {"sizeEstimate", message.raw.size()},
                 {"historyId", "1"},
                 {"internalDate", std::to_string(milliseconds.time_since_epoch().count())}};
  if (format == "raw") result["raw"] = toBase64Url(message.raw);
  if (format == "metadata") {
    result["payload"] = {{"mimeType", "text/plain"}, {"headers", headersOf(message)}};
  }
  return result;
}

// Absent keys are empty lists; nothing for what is no list of texts.
std::optional<std::vector<std::string>> textsOf(const json& body, const char* key) {
  std::vector<std::string> texts;
  for (const json& text : body.value(key, json::array())) {
    if (!text.is_string()) return std::nullopt;
    texts.push_back(text.get<std::string>());
  }
  return texts;
}

}  // namespace

HttpResponse GoogleStandIn::listMessages(const ServedRequest&, const RequestTarget& target) {
  const std::string asked = itemOf(target.query, "maxResults");
  std::size_t most = 100;
  if (!asked.empty()) {
    const auto [end, error] = std::from_chars(asked.data(), asked.data() + asked.size(), most);
    if (error != std::errc() || end != asked.data() + asked.size() || most < 1 || most > 500) {
      return invalidArgument("Invalid value at 'max_results': " + asked);
    }
  }
  const std::vector<std::string> ids = store_.search(itemOf(target.query, "q"));
  json answer = {{"resultSizeEstimate", ids.size()}};
  for (std::size_t index = 0; index < std::min(ids.size(), most); ++index) {
    answer["messages"].push_back({{"id", ids[index]}, {"threadId", ids[index]}});
  }
  if (ids.size() > most) answer["nextPageToken"] = std::to_string(most);
  return jsonAnswer(200, answer);
}

HttpResponse GoogleStandIn::getMessage(const ServedRequest&, const RequestTarget& target) {
  const std::string format = itemOf(target.query, "format");
  if (format != "raw" && format != "minimal" && format != "metadata") {
    return invalidArgument("Invalid value at 'format': " + format);
  }
  ledger_.count("message." + format);
  const GmailMessage* message = store_.find(target.segments.back());
  return message == nullptr ? noSuchGmailMessage() : jsonAnswer(200, messageJson(*message, format));
}

HttpResponse GoogleStandIn::sendMessage(const ServedRequest& request, const RequestTarget&) {
  const auto body = jsonBody(request);
  if (!body) return notJson();
  if (!body->contains("raw") || !(*body)["raw"].is_string()) {
    return invalidArgument(
        "'raw' RFC822 payload message string or uploading message via /upload/* URL "
        "required");
  }
  const auto raw = fromBase64Url((*body)["raw"].get<std::string>());
  if (!raw) return invalidArgument("Invalid value at 'message.raw': Base64 decoding failed.");
  const std::string text = repairedUtf8(*raw);
  if (!headerValue("To", splitHeaders(text).headers)) {
    return invalidArgument("Recipient address required");
  }
  const std::string id = store_.add(*raw, {"SENT"}, std::chrono::system_clock::now());
  return jsonAnswer(200, {{"id", id}, {"threadId", id}, {"labelIds", {"SENT"}}});
}

HttpResponse GoogleStandIn::modifyMessage(const ServedRequest& request,
                                          const RequestTarget& target) {
  const auto body = jsonBody(request);
  if (!body) return notJson();
  GmailMessage* message = store_.find(target.segments[target.segments.size() - 2]);
  if (message == nullptr) return noSuchGmailMessage();
  const auto added = textsOf(*body, "addLabelIds");
  const auto removed = textsOf(*body, "removeLabelIds");
  if (!added || !removed) return invalidArgument("Invalid value: label ids must be strings.");
  if (added->empty() && removed->empty())
    return invalidArgument("No label add or removes specified");
  for (const auto* ids : {&*added, &*removed}) {
    for (const std::string& id : *ids) {
      if (!store_.hasLabel(id)) return invalidArgument("Invalid label: " + id);
    }
  }
  message->labels.insert(added->begin(), added->end());
  for (const std::string& id : *removed) message->labels.erase(id);
  return jsonAnswer(
      200, {{"id", message->id}, {"threadId", message->id}, {"labelIds", message->labels}});
}

HttpResponse GoogleStandIn::listLabels(const ServedRequest&, const RequestTarget&) {
  json labels = json::array();
  for (const std::string& name : GmailStore::systemLabels()) {
    labels.push_back({{"id", name}, {"name", name}, {"type", "system"}});
  }
  for (const GmailUserLabel& label : store_.userLabels()) {
    labels.push_back({{"id", label.id},
                      {"name", label.name},
                      {"type", "user"},
                      {"labelListVisibility", "labelShow"},
                      {"messageListVisibility", "show"}});
  }
  return jsonAnswer(200, {{"labels", labels}});
}

HttpResponse GoogleStandIn::createLabel(const ServedRequest& request, const RequestTarget&) {
  const auto body = jsonBody(request);
  if (!body) return notJson();
  const std::string name = body->contains("name") && (*body)["name"].is_string()
                               ? (*body)["name"].get<std::string>()
                               : std::string();
  if (trimmed(name).empty()) return invalidArgument("Invalid label name");
  const auto label = store_.addLabel(name);
  if (!label) return googleError(409, "ABORTED", "aborted", "Label name exists or conflicts");
  return jsonAnswer(200, {{"id", label->id},
                          {"name", label->name},
                          {"labelListVisibility", "labelShow"},
                          {"messageListVisibility", "show"}});
}

}  // namespace halcyra::sandbox

#include "mail/GmailReplies.h"

#include <algorithm>

#include "mail/SentSnippet.h"
#include "platform/ProviderError.h"
#include "text/Base64.h"
#include "text/Case.h"
#include "text/Json.h"
#include "text/JsonFields.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

using nlohmann::json;

std::string fromUrlAlphabet(std::string text) {
  std::replace(text.begin(), text.end(), '-', '+');
  std::replace(text.begin(), text.end(), '_', '/');
  if (const std::size_t over = text.size() % 4; over != 0) text.append(4 - over, '=');
  return text;
}

// The first header counts.
std::string subjectOf(const json& payload) {
  struct Header {
    std::string name;
    std::string value;
  };
  const auto headers = readArray(payload, "headers", [](const json& header) {
    return Header{textField(header, "name").value_or(""), textField(header, "value").value_or("")};
  });
  const auto subject = std::find_if(headers.begin(), headers.end(), [](const Header& header) {
    return lowercased(header.name) == "subject";
  });
  return subject == headers.end() ? std::string() : subject->value;
}

std::optional<std::string> errorMessage(std::string_view body) {
  json document;
  try {
    document = parseJson(body);
  } catch (const JsonError&) {
    return std::nullopt;
  }
  if (!document.is_object() || !document.contains("error")) return std::nullopt;
  const json& error = document["error"];
  if (auto message = wordsIn(error, "message")) {
    if (error.contains("status") && error["status"].is_string()) {
      *message += " (" + error["status"].get<std::string>() + ")";
    }
    return message;
  }
  if (!error.is_object() || !error.contains("errors")) return std::nullopt;
  const json& errors = error["errors"];
  if (!errors.is_array() || errors.empty()) return std::nullopt;
  return wordsIn(errors.front(), "message");
}

}  // namespace

std::vector<std::string> gmailMessageIds(std::string_view body) {
  return readArray(parseJson(body), "messages",
                   [](const json& message) { return requiredTextField(message, "id"); });
}

std::string gmailRawMessage(std::string_view body) {
  const auto message = decodeBase64(fromUrlAlphabet(requiredTextField(parseJson(body), "raw")));
  if (!message) {
    throw ProviderError("GmailAPI", 200, "The message could not be decoded: it is not base64.");
  }
  if (!isValidUtf8(*message)) {
    throw ProviderError("GmailAPI", 200, "The message could not be decoded: it is not UTF-8.");
  }
  return *message;
}

std::vector<std::string> gmailLabelIds(std::string_view body) {
  return textsField(parseJson(body), "labelIds");
}

std::vector<GmailLabel> gmailLabels(std::string_view body) {
  return readArray(parseJson(body), "labels", [](const json& label) {
    return GmailLabel{textField(label, "id"), textField(label, "name"), textField(label, "type")};
  });
}

std::string gmailCreatedLabelId(std::string_view body) {
  return textField(parseJson(body), "id").value_or("");
}

std::string gmailSentLine(std::string_view body) {
  const json message = parseJson(body);
  const std::string snippet = textField(message, "snippet").value_or("");
  const json* payload = objectField(message, "payload");
  return sentSnippet(payload == nullptr ? std::string() : subjectOf(*payload), snippet);
}

std::string gmailErrorDescription(int status, std::string_view body) {
  if (auto message = errorMessage(body)) return std::move(*message);
  if (isValidUtf8(body) && !trimmed(body).empty()) return std::string(trimmed(body));
  return "HTTP " + std::to_string(status) +
         " from Gmail API. Enable “Gmail API” for your Google Cloud project and ensure you signed "
         "in with the Gmail scope.";
}

}  // namespace halcyra

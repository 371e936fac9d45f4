#include "classification/LLMClient.h"

#include <algorithm>
#include <span>

#include "classification/LeadReply.h"
#include "text/Case.h"
#include "text/Graphemes.h"
#include "text/JsonFields.h"
#include "text/Trim.h"
#include "text/Utf8.h"
#include "text/WithoutSecrets.h"

namespace halcyra {
namespace {

using nlohmann::json;

constexpr std::string_view draftSystemText =
    "You help the user reply to email. Write a concise, professional draft they can edit and send. "
    "Match the language of the incoming message. Do not add a subject line. Output plain text only "
    "(no JSON, no markdown fences).";

// Families of models that refuse the parameter.
bool admitsTemperature(std::string_view model) {
  const std::string name = lowercased(trimmed(model));
  return !name.starts_with("gpt-5") && !name.starts_with("o1") && !name.starts_with("o3");
}

bool isObject(const json& value) {
  return value.is_object();
}

bool isArrayOfObjects(const json* value) {
  return value != nullptr && value->is_array() &&
         std::all_of(value->begin(), value->end(), isObject);
}

std::string joinedParts(const json& parts) {
  std::string text;
  for (const json& part : parts) {
    for (const std::string_view key : {"text", "content"}) {
      const json* piece = memberOf(part, key);
      if (piece == nullptr || !piece->is_string()) continue;
      text.append(piece->get_ref<const std::string&>());
      break;
    }
  }
  return text;
}

// The text of a `message` object, empty when it has none.
std::string contentOf(const json& message) {
  const json* content = memberOf(message, "content");
  if (content != nullptr && content->is_string()) return content->get<std::string>();
  if (isArrayOfObjects(content)) return joinedParts(*content);
  return {};
}

// The first choice's text, untrimmed.
std::string replyText(const std::string& body) {
  const json top = parseJson(body);
  const json* choices = top.is_object() ? memberOf(top, "choices") : nullptr;
  if (!isArrayOfObjects(choices) || choices->empty()) throw LLMError::emptyContent();
  const json* message = memberOf(choices->front(), "message");
  if (message == nullptr || !message->is_object()) throw LLMError::emptyContent();
  std::string content = contentOf(*message);
  if (trimmed(content).empty()) throw LLMError::emptyContent();
  return content;
}

}  // namespace

Task<ClassificationResult> LLMClient::classify(std::string system, std::string user,
                                               std::int64_t maxChars) {
  Task<std::string> reply =
      complete(std::move(system), std::move(user), maxChars, Format::jsonObject);
  const std::string text = co_await std::move(reply);
  co_return parseClassificationReply(text);
}

Task<DynamicsLeadFields> LLMClient::extractLeadFields(std::string user, std::int64_t maxChars) {
  Task<std::string> reply =
      complete(std::string(leadSystemText), std::move(user), maxChars, Format::jsonObject);
  const std::string text = co_await std::move(reply);
  co_return parseLeadReply(text);
}

Task<std::string> LLMClient::proposeReplyDraft(std::string user, std::int64_t maxChars) {
  return completeFreeText(std::string(draftSystemText), std::move(user), maxChars);
}

Task<std::string> LLMClient::completeFreeText(std::string system, std::string user,
                                              std::int64_t maxChars) {
  Task<std::string> reply = complete(std::move(system), std::move(user), maxChars, Format::text);
  const std::string text = co_await std::move(reply);
  co_return std::string(trimmed(text));
}

Task<std::string> LLMClient::complete(std::string system, std::string user, std::int64_t maxChars,
                                      Format format) {
  const auto limit = static_cast<std::size_t>(std::max<std::int64_t>(maxChars, 0));
  Task<HttpResponse> answer = exchange(requestFor(system, graphemePrefix(user, limit), format));
  const HttpResponse response = co_await std::move(answer);
  if (response.status < 200 || response.status > 299) {
    if (!isValidUtf8(response.body)) throw LLMError::http(response.status, "");
    // Some services repeat the key they refuse.
    throw LLMError::http(response.status,
                         withoutSecrets(response.body, std::span(&settings_.apiKey, 1)));
  }
  co_return replyText(response.body);
}

Task<HttpResponse> LLMClient::exchange(HttpRequest request) {
  try {
    Task<HttpResponse> answer = http_.perform(std::move(request));
    co_return co_await std::move(answer);
  } catch (const HttpError& error) {
    if (error.kind() == HttpError::Kind::notHTTP) throw LLMError::http(-1, "No response");
    if (error.kind() == HttpError::Kind::invalidURL) throw LLMError::invalidURL();
    throw;
  }
}

HttpRequest LLMClient::requestFor(const std::string& system, std::string_view user,
                                  Format format) const {
  const json systemMessage = {{"role", "system"}, {"content", system}};
  const json userMessage = {{"role", "user"}, {"content", std::string(user)}};
  json body = {{"model", settings_.model}, {"messages", json::array({systemMessage, userMessage})}};
  if (format == Format::jsonObject) body["response_format"] = {{"type", "json_object"}};
  if (admitsTemperature(settings_.model)) body["temperature"] = settings_.temperature;

  HttpRequest request;
  request.method = "POST";
  request.url = chatCompletionsURL(settings_.baseURL);
  request.headers = {{"Content-Type", "application/json"}};
  if (!settings_.apiKey.empty()) {
    request.headers.push_back({"Authorization", "Bearer " + settings_.apiKey});
  }
  request.body = jsonText(body);
  request.timeout = std::chrono::seconds(120);
  request.answerLimit = 8u << 20;
  return request;
}

}  // namespace halcyra

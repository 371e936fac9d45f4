#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/HttpClient.h"
#include "platform/Task.h"

namespace halcyra {

/// What the model answered, as it stands in its reply.
struct ClassificationResult {
  std::string ruleId;
  double confidence = 0.5;
  std::optional<std::string> draftReply;

  bool operator==(const ClassificationResult&) const = default;
};

class LLMError : public std::runtime_error {
 public:
  enum class Kind { http, invalidURL, decodeFailed, emptyContent };

  static LLMError http(int code, std::string_view body);
  static LLMError invalidURL() { return {Kind::invalidURL, "Invalid LLM base URL."}; }
  static LLMError decodeFailed() { return {Kind::decodeFailed, "Could not parse LLM JSON."}; }
  static LLMError emptyContent() { return {Kind::emptyContent, "Empty LLM response."}; }

  Kind kind() const { return kind_; }

 private:
  LLMError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

  Kind kind_;
};

class LLMParseError : public std::runtime_error {
 public:
  enum class Kind { notJSONObject, missingRuleId };

  static LLMParseError notJSONObject();
  static LLMParseError missingRuleId();

  Kind kind() const { return kind_; }

 private:
  LLMParseError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

  Kind kind_;
};

/// Where and how to ask the model. `apiKey` may be empty.
struct LLMSettings {
  std::string baseURL;
  std::string model;
  double temperature = 0.2;
  std::string apiKey;
};

/// Asks an OpenAI-style chat-completions endpoint. A plain value made for each use; it keeps no
/// connection, retries nothing and logs nothing. Operations throw LLMError, LLMParseError, JsonError
/// or HttpError. `maxChars` cuts the user text; the system text is sent whole.
class LLMClient {
 public:
  /// `http` must outlive the client.
  LLMClient(HttpClient& http, LLMSettings settings)
      : http_(http), settings_(std::move(settings)) {}

  /// Which rule fits.
  Task<ClassificationResult> classify(std::string system, std::string user, std::int64_t maxChars);

  /// A reply the user can edit, trimmed.
  Task<std::string> proposeReplyDraft(std::string user, std::int64_t maxChars);

  /// A free answer, trimmed.
  Task<std::string> completeFreeText(std::string system, std::string user, std::int64_t maxChars);

 private:
  enum class Format { text, jsonObject };
  Task<std::string> complete(std::string system, std::string user, std::int64_t maxChars,
                             Format format);

  HttpClient& http_;
  LLMSettings settings_;
};

/// The chat-completions URL for a base URL. Throws LLMError::invalidURL.
std::string chatCompletionsURL(std::string_view baseURL);

/// Reads a classification out of the model's text with every tolerance it needs.
ClassificationResult parseClassificationReply(std::string_view text);

}  // namespace halcyra

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "classification/ClassificationReply.h"
#include "classification/LLMError.h"
#include "crm/DynamicsLeadFields.h"
#include "platform/HttpClient.h"
#include "platform/Task.h"

namespace halcyra {

/// Where and how to ask the model. `apiKey` may be empty.
struct LLMSettings {
  std::string baseURL;
  std::string model;
  double temperature = 0.2;
  std::string apiKey;
};

/// Asks an OpenAI-style chat-completions endpoint. A plain value made for each use; it keeps no
/// connection, retries nothing and logs nothing. Operations throw LLMError, LLMParseError,
/// JsonError or HttpError, and the key is in none of their texts. `maxChars` cuts the user text;
/// the system text is sent whole.
class LLMClient {
 public:
  /// `http` must outlive the client, and the client its operations.
  LLMClient(HttpClient& http, LLMSettings settings) : http_(http), settings_(std::move(settings)) {}

  /// Which rule fits.
  Task<ClassificationResult> classify(std::string system, std::string user, std::int64_t maxChars);

  /// What the mail tells about a lead. Throws LLMError::decodeFailed for any other answer than
  /// asked for.
  Task<DynamicsLeadFields> extractLeadFields(std::string user, std::int64_t maxChars);

  /// A reply the user can edit, trimmed.
  Task<std::string> proposeReplyDraft(std::string user, std::int64_t maxChars);

  /// A free answer, trimmed.
  Task<std::string> completeFreeText(std::string system, std::string user, std::int64_t maxChars);

 private:
  enum class Format { text, jsonObject };
  Task<std::string> complete(std::string system, std::string user, std::int64_t maxChars,
                             Format format);
  Task<HttpResponse> exchange(HttpRequest request);
  HttpRequest requestFor(const std::string& system, std::string_view user, Format format) const;

  HttpClient& http_;
  LLMSettings settings_;
};

/// The chat-completions URL for a base URL. Throws LLMError::invalidURL.
std::string chatCompletionsURL(std::string_view baseURL);

}  // namespace halcyra

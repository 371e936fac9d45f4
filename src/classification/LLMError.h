#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace halcyra {

/// The model's service did not give an answer that can be used.
class LLMError : public std::runtime_error {
 public:
  enum class Kind { http, invalidURL, decodeFailed, emptyContent };

  /// "LLM HTTP {code}: {body}", with a body of more than 2,000 characters cut.
  static LLMError http(int code, std::string_view body);
  static LLMError invalidURL() { return {Kind::invalidURL, "Invalid LLM base URL."}; }
  static LLMError decodeFailed() { return {Kind::decodeFailed, "Could not parse LLM JSON."}; }
  static LLMError emptyContent() { return {Kind::emptyContent, "Empty LLM response."}; }

  Kind kind() const { return kind_; }

 private:
  LLMError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

  Kind kind_;
};

/// The model answered with JSON that names no rule.
class LLMParseError : public std::runtime_error {
 public:
  enum class Kind { notJSONObject, missingRuleId };

  static LLMParseError notJSONObject() {
    return {Kind::notJSONObject, "LLM returned JSON that is not an object."};
  }
  static LLMParseError missingRuleId() {
    return {Kind::missingRuleId,
            "LLM JSON had no recognizable rule id (expected rule_id matching a rule from the "
            "prompt, or common aliases)."};
  }

  Kind kind() const { return kind_; }

 private:
  LLMParseError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

  Kind kind_;
};

}  // namespace halcyra

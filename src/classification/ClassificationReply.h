#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// What the model answered, as it stands in its reply.
struct ClassificationResult {
  std::string ruleId;
  double confidence = 0.5;
  std::optional<std::string> draftReply;

  bool operator==(const ClassificationResult&) const = default;
};

/// Reads a classification out of the model's text: JSON as asked for, or fenced, or with prose
/// around it, nested up to six objects deep, under any of the usual names of the rule id. Throws
/// LLMError::decodeFailed without any object, LLMParseError without a rule id, else JsonError.
ClassificationResult parseClassificationReply(std::string_view text);

}  // namespace halcyra

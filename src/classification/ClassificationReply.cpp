#include "classification/ClassificationReply.h"

#include <array>
#include <charconv>

#include "classification/LLMError.h"
#include "classification/ReplyObject.h"
#include "text/Graphemes.h"
#include "text/JsonFields.h"
#include "text/Trim.h"
#include "text/Uuid.h"

namespace halcyra {
namespace {

using nlohmann::json;

constexpr int deepestCandidate = 6;

template <class Number>
std::string plainDecimal(Number number) {
  std::array<char, 400> digits;  // room for the smallest double written out
  std::to_chars_result end{};
  if constexpr (std::is_floating_point_v<Number>) {
    end = std::to_chars(digits.begin(), digits.end(), number, std::chars_format::fixed);
  } else {
    end = std::to_chars(digits.begin(), digits.end(), number);
  }
  return std::string(digits.begin(), end.ptr);
}

// The value as text. Models write ids as numbers, too; blanks are no text.
std::optional<std::string> textOf(const json* value) {
  if (value == nullptr) return std::nullopt;
  switch (value->type()) {
    case json::value_t::string: {
      const std::string_view text = trimmed(value->get_ref<const std::string&>());
      if (text.empty()) return std::nullopt;
      return std::string(text);
    }
    case json::value_t::boolean:
      return value->get<bool>() ? "1" : "0";
    case json::value_t::number_integer:
      return plainDecimal(value->get<std::int64_t>());
    case json::value_t::number_unsigned:
      return plainDecimal(value->get<std::uint64_t>());
    case json::value_t::number_float:
      return plainDecimal(value->get<double>());
    default:
      return std::nullopt;
  }
}

bool isIdLike(std::string_view text) {
  if (isCanonicalUuid(text)) return true;
  return hasMoreGraphemesThan(text, 31) && text.find('-') != std::string_view::npos;
}

using Keys = std::initializer_list<std::string_view>;

std::optional<std::string> firstText(const json& object, Keys keys) {
  for (const std::string_view key : keys) {
    if (auto text = textOf(memberOf(object, key))) return text;
  }
  return std::nullopt;
}

std::optional<std::string> firstIdLikeText(const json& object, Keys keys) {
  for (const std::string_view key : keys) {
    if (auto text = textOf(memberOf(object, key)); text && isIdLike(*text)) return text;
  }
  return std::nullopt;
}

std::optional<std::string> firstTextInside(const json& object, std::string_view outer, Keys keys) {
  const json* inner = memberOf(object, outer);
  if (inner == nullptr || !inner->is_object()) return std::nullopt;
  return firstText(*inner, keys);
}

// From the surest key to the vaguest.
std::optional<std::string> ruleIdOf(const json& object) {
  if (auto id =
          firstText(object, {"rule_id", "ruleId", "ruleID", "matched_rule_id", "selected_rule_id",
                             "chosen_rule_id", "rule_uuid", "matchedRuleId", "selectedRuleId"})) {
    return id;
  }
  if (auto id = firstIdLikeText(object, {"value", "selected", "selection", "uuid", "id", "rule"})) {
    return id;
  }
  if (auto id = firstTextInside(object, "rule", {"id", "rule_id", "ruleId", "uuid"})) return id;
  return firstTextInside(object, "match", {"rule_id", "ruleId", "id"});
}

double confidenceOf(const json& object) {
  for (const std::string_view key :
       {"confidence", "score", "certainty", "confidence_score", "conf"}) {
    if (const json* value = memberOf(object, key); value != nullptr && value->is_number()) {
      return value->get<double>();
    }
  }
  return 0.5;
}

std::optional<std::string> draftOf(const json& object) {
  for (const std::string_view key : {"draft_reply", "draftReply"}) {
    const json* value = memberOf(object, key);
    if (value == nullptr) continue;
    if (value->is_null()) return std::nullopt;
    if (value->is_string()) return value->get<std::string>();
  }
  return std::nullopt;
}

// Depth first, the outer object before those inside it. Arrays are not entered.
std::optional<ClassificationResult> resultIn(const json& object, int depth) {
  if (auto id = ruleIdOf(object)) {
    return ClassificationResult{std::move(*id), confidenceOf(object), draftOf(object)};
  }
  if (depth == deepestCandidate) return std::nullopt;
  for (const json& value : object) {
    if (!value.is_object()) continue;
    if (auto result = resultIn(value, depth + 1)) return result;
  }
  return std::nullopt;
}

ClassificationResult decoded(std::string_view text) {
  const json top = parseJson(text);
  if (!top.is_object()) throw LLMParseError::notJSONObject();
  auto result = resultIn(top, 0);
  if (!result) throw LLMParseError::missingRuleId();
  return std::move(*result);
}

}  // namespace

ClassificationResult parseClassificationReply(std::string_view reply) {
  const std::string text = withoutFences(reply);
  try {
    return decoded(text);
  } catch (const JsonError&) {
  } catch (const LLMParseError&) {
    // The text between the outermost braces may do better, and its failure says more.
  }
  const std::optional<std::string_view> object = betweenBraces(text);
  if (!object) throw LLMError::decodeFailed();
  return decoded(*object);
}

}  // namespace halcyra

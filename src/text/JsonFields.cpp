#include "text/JsonFields.h"

#include <cmath>

#include "text/Json.h"

namespace halcyra {
namespace {

using nlohmann::json;

[[noreturn]] void fail(std::string_view key, std::string_view expected) {
  throw JsonError("Not the expected JSON: \"" + std::string(key) + "\" is not " +
                  std::string(expected) + ".");
}

// The value of a key, null for an absent one as for one that is null.
const json* valueOf(const json& object, std::string_view key) {
  if (!object.is_object()) {
    throw JsonError("Not the expected JSON: no object where \"" + std::string(key) +
                    "\" was looked for.");
  }
  const json* value = memberOf(object, key);
  return value == nullptr || value->is_null() ? nullptr : value;
}

}  // namespace

const json* memberOf(const json& object, std::string_view key) {
  const auto found = object.find(key);
  return found == object.end() ? nullptr : &*found;
}

std::optional<std::string> textField(const json& object, std::string_view key) {
  const json* value = valueOf(object, key);
  if (value == nullptr) return std::nullopt;
  if (!value->is_string()) fail(key, "a text");
  return value->get<std::string>();
}

std::string requiredTextField(const json& object, std::string_view key) {
  std::optional<std::string> text = textField(object, key);
  if (!text) fail(key, "there");
  return std::move(*text);
}

std::optional<bool> flagField(const json& object, std::string_view key) {
  const json* value = valueOf(object, key);
  if (value == nullptr) return std::nullopt;
  if (!value->is_boolean()) fail(key, "true or false");
  return value->get<bool>();
}

std::optional<std::int64_t> integerField(const json& object, std::string_view key) {
  const json* value = valueOf(object, key);
  if (value == nullptr) return std::nullopt;
  constexpr std::int64_t farthest = std::int64_t{1} << 53;  // beyond, a double skips integers
  if (value->is_number_float()) {
    const double number = value->get<double>();
    if (std::trunc(number) == number && std::abs(number) <= static_cast<double>(farthest)) {
      return static_cast<std::int64_t>(number);
    }
  } else if (value->is_number_unsigned() ? value->get<std::uint64_t>() <= INT64_MAX
                                         : value->is_number_integer()) {
    return value->get<std::int64_t>();
  }
  fail(key, "a whole number");
}

const json* objectField(const json& object, std::string_view key) {
  const json* value = valueOf(object, key);
  if (value != nullptr && !value->is_object()) fail(key, "an object");
  return value;
}

const json& arrayField(const json& object, std::string_view key) {
  static const json none = json::array();
  const json* value = valueOf(object, key);
  if (value == nullptr) return none;
  if (!value->is_array()) fail(key, "an array");
  return *value;
}

std::vector<std::string> textsField(const json& object, std::string_view key) {
  return readArray(object, key, [key](const json& element) {
    if (!element.is_string()) fail(key, "an array of texts");
    return element.get<std::string>();
  });
}

std::optional<std::string> wordsIn(const json& value, std::string_view key) {
  if (!value.is_object()) return std::nullopt;
  const json* words = memberOf(value, key);
  if (words == nullptr || !words->is_string()) return std::nullopt;
  const auto& text = words->get_ref<const std::string&>();
  if (text.empty()) return std::nullopt;
  return text;
}

}  // namespace halcyra

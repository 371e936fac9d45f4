#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/Json.h"

namespace halcyra {

/// Strict reading of the fields of a JSON object, for answers of web services. An absent key and
/// null are no value; a value of another type than the field's is a JsonError that names the key
/// and quotes nothing. Each throws JsonError when `object` is no object.

std::optional<std::string> textField(const nlohmann::json& object, std::string_view key);
std::string requiredTextField(const nlohmann::json& object, std::string_view key);
std::optional<bool> flagField(const nlohmann::json& object, std::string_view key);
/// A number without fraction; 3.0 is one.
std::optional<std::int64_t> integerField(const nlohmann::json& object, std::string_view key);
/// The inner object, or null. It lives as long as `object`.
const nlohmann::json* objectField(const nlohmann::json& object, std::string_view key);
/// The array, or an empty one. Lives as long as `object`.
const nlohmann::json& arrayField(const nlohmann::json& object, std::string_view key);
/// An array of texts, empty where there is none.
std::vector<std::string> textsField(const nlohmann::json& object, std::string_view key);

/// The value under the key, whatever it is; null where there is none. It lives as long as `object`,
/// which is an object or null.
const nlohmann::json* memberOf(const nlohmann::json& object, std::string_view key);

/// A text that is not empty, where the value is an object that has one under the key. Never throws:
/// for the bodies of errors, which may be anything.
std::optional<std::string> wordsIn(const nlohmann::json& value, std::string_view key);

/// What `read` makes of each element of an array; none where there is no array.
template <class Read>
auto readArray(const nlohmann::json& object, std::string_view key, Read read) {
  std::vector<decltype(read(object))> results;
  for (const nlohmann::json& element : arrayField(object, key)) results.push_back(read(element));
  return results;
}

}  // namespace halcyra

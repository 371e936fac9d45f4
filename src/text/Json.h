#pragma once

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>

// Its functions are compiled once, in Json.cpp, instead of in every file that uses them.
extern template class nlohmann::basic_json<>;

namespace halcyra {

/// A text that is no JSON. `what()` tells the line and column, without quoting the text.
class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads one JSON text (RFC 8259) with nothing but white space behind it. A text nested more than
/// 512 deep, or with more than a million brackets, commas and colons, is refused. Of a repeated key
/// the last value counts. Throws JsonError.
nlohmann::json parseJson(std::string_view text);

/// JSON in which DEL and the C1 controls, which it may hold as they are (RFC 8259, section 7), are
/// escaped, so that a terminal may show it.
std::string withControlsEscaped(std::string json);

/// Compact JSON with controls escaped; bytes that are not UTF-8 become U+FFFD.
std::string jsonText(const nlohmann::json& value);

}  // namespace halcyra

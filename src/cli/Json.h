#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace halcyra {

/// JSON whose keys keep the order in which they were set.
using OrderedJson = nlohmann::ordered_json;

inline OrderedJson orNull(const std::optional<std::string>& text) {
  return text ? OrderedJson(*text) : OrderedJson(nullptr);
}

/// Compact JSON without a line feed; bytes that are not UTF-8 become U+FFFD.
inline std::string jsonLine(const OrderedJson& value) {
  return value.dump(-1, ' ', false, OrderedJson::error_handler_t::replace);
}

}  // namespace halcyra

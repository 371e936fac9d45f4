#pragma once

#include <optional>
#include <string>

#include "text/Json.h"

namespace halcyra {

/// JSON whose keys keep the order in which they were set.
using OrderedJson = nlohmann::ordered_json;

inline OrderedJson orNull(const std::optional<std::string>& text) {
  return text ? OrderedJson(*text) : OrderedJson(nullptr);
}

/// Compact JSON without a line feed and with controls escaped; bytes that are not UTF-8 become
/// U+FFFD.
inline std::string jsonLine(const OrderedJson& value) {
  return withControlsEscaped(value.dump(-1, ' ', false, OrderedJson::error_handler_t::replace));
}

}  // namespace halcyra

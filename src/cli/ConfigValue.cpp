#include "cli/ConfigValue.h"

#include "config/ConfigJson.h"
#include "text/Json.h"

namespace halcyra {
namespace {

// `rules[1].forwardTo` as a JSON pointer (RFC 6901). No key of the configuration holds a "~" or
// "/".
std::string pointerOf(std::string_view keyPath) {
  std::string pointer = "/";
  for (const char c : keyPath) {
    if (c == '.' || c == '[') pointer += '/';
    if (c != '.' && c != '[' && c != ']') pointer += c;
  }
  return pointer;
}

}  // namespace

std::string configValueText(const AppConfig& config, std::string_view keyPath) {
  const nlohmann::json whole = parseJson(encodeConfig(config));
  const nlohmann::json::json_pointer pointer(pointerOf(keyPath));
  return whole.contains(pointer) ? jsonText(whole.at(pointer)) : "(none)";
}

}  // namespace halcyra

#include "text/Json.h"

#include <algorithm>
#include <string>

#include "text/Utf8.h"

namespace halcyra {
namespace {

constexpr int deepestNesting = 512;

std::string place(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, std::min(offset, text.size()));
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is the text's start
  return "line " + std::to_string(line) + ", column " +
         std::to_string(before.size() - lineStart + 1);
}

// Offset of the bracket that opens one level too many, or npos. Runs before the parser, so that
// nothing deep is ever built.
std::size_t tooDeepAt(std::string_view text) {
  int depth = 0;
  bool inString = false;
  for (std::size_t position = 0; position < text.size(); ++position) {
    const char c = text[position];
    if (inString) {
      if (c == '\\') ++position;
      if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '{' || c == '[') {
      if (++depth > deepestNesting) return position;
    } else if (c == '}' || c == ']') {
      --depth;
    }
  }
  return std::string_view::npos;
}

}  // namespace

nlohmann::json parseJson(std::string_view text) {
  if (const std::size_t offset = tooDeepAt(text); offset != std::string_view::npos) {
    throw JsonError("JSON is nested more than " + std::to_string(deepestNesting) + " deep at " +
                    place(text, offset) + ".");
  }
  try {
    return nlohmann::json::parse(text);
  } catch (const nlohmann::json::parse_error& error) {
    const std::size_t offset = error.byte > 0 ? error.byte - 1 : 0;
    throw JsonError("Not valid JSON at " + place(text, offset) + ".");
  } catch (const nlohmann::json::out_of_range&) {
    throw JsonError("Not valid JSON: a number is out of range.");
  }
}

std::string withControlsEscaped(std::string json) {
  std::string escaped;
  std::size_t kept = 0;
  for (std::size_t position = 0; position < json.size();) {
    const std::size_t begin = position;
    const char32_t c = nextCodePoint(json, position);
    if (c < 0x7F || c > 0x9F) continue;
    constexpr char digits[] = "0123456789abcdef";
    escaped.append(json, kept, begin - kept).append("\\u00");
    escaped += digits[c >> 4];
    escaped += digits[c & 0xF];
    kept = position;
  }
  if (kept == 0) return json;
  return escaped.append(json, kept);
}

std::string jsonText(const nlohmann::json& value) {
  return withControlsEscaped(value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace halcyra

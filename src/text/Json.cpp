#include "text/Json.h"

#include <algorithm>
#include <string>

#include "text/Utf8.h"

template class nlohmann::basic_json<>;

namespace halcyra {
namespace {

constexpr int deepestNesting = 512;
// About one a value. A value takes up to 60 bytes, however short its text is.
constexpr int mostMarks = 1'000'000;

std::string place(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, std::min(offset, text.size()));
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t lineStart = before.rfind('\n') + 1;  // npos + 1 is the text's start
  return "line " + std::to_string(line) + ", column " +
         std::to_string(before.size() - lineStart + 1);
}

[[noreturn]] void refuse(std::string_view text, const std::string& why, std::size_t offset) {
  throw JsonError("JSON " + why + " at " + place(text, offset) + ".");
}

// Runs before the parser, so that nothing deep and nothing huge is ever built.
void requireBounds(std::string_view text) {
  int depth = 0;
  int marks = 0;
  bool inString = false;
  for (std::size_t position = 0; position < text.size(); ++position) {
    const char c = text[position];
    if (inString) {
      if (c == '\\') ++position;
      if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '{' || c == '[') {
      if (++depth > deepestNesting) {
        refuse(text, "is nested more than " + std::to_string(deepestNesting) + " deep", position);
      }
      ++marks;
    } else if (c == '}' || c == ']') {
      --depth;
    } else if (c == ',' || c == ':') {
      ++marks;
    }
    if (marks > mostMarks) refuse(text, "has too many values", position);
  }
}

}  // namespace

nlohmann::json parseJson(std::string_view text) {
  requireBounds(text);
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

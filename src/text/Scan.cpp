#include "text/Scan.h"

#include <string.h>

#include <algorithm>

namespace halcyra {

std::size_t findText(std::string_view text, std::string_view needle, std::size_t from) {
  if (from > text.size()) return text.npos;
  const void* found = memmem(text.data() + from, text.size() - from, needle.data(), needle.size());
  if (!found) return text.npos;
  return static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}

std::size_t findEither(std::string_view text, char a, char b, std::size_t from) {
  const auto begin = text.begin() + static_cast<std::ptrdiff_t>(std::min(from, text.size()));
  const auto found = std::find_if(begin, text.end(), [=](char c) { return c == a || c == b; });
  return static_cast<std::size_t>(found - text.begin());
}

std::size_t codePointCount(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

}  // namespace halcyra

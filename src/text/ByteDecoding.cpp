#include "text/ByteDecoding.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "text/ByteWord.h"
#include "text/Case.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

constexpr char16_t undefined = 0;

// Windows-1252 from 0x80 to 0x9F; everywhere else it is ISO-8859-1.
constexpr std::array<char16_t, 32> windows1252 = {
    0x20AC,    undefined, 0x201A, 0x0192, 0x201E, 0x2026,    0x2020, 0x2021,
    0x02C6,    0x2030,    0x0160, 0x2039, 0x0152, undefined, 0x017D, undefined,
    undefined, 0x2018,    0x2019, 0x201C, 0x201D, 0x2022,    0x2013, 0x2014,
    0x02DC,    0x2122,    0x0161, 0x203A, 0x0153, undefined, 0x017E, 0x0178};

bool isUpperControl(char byte) {
  return (static_cast<unsigned char>(byte) & 0xE0) == 0x80;
}

char32_t windows1252CodePoint(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return isUpperControl(byte) ? windows1252[value & 0x1F] : value;
}

bool isWindows1252(std::string_view bytes) {
  return std::none_of(bytes.begin(), bytes.end(), [](char byte) {
    return isUpperControl(byte) && windows1252CodePoint(byte) == undefined;
  });
}

bool asksForWindows1252(std::string_view label) {
  const std::string lower = lowercased(label);
  return lower.find("1252") != lower.npos || lower.find("windows-") != lower.npos;
}

std::size_t utf8Size(char32_t codePoint) {
  return codePoint < 0x80 ? 1 : codePoint < 0x800 ? 2 : 3;
}

std::size_t asciiRunStart(std::string_view bytes, std::size_t position) {
  constexpr std::size_t size = sizeof(std::uint64_t);
  for (; position >= size; position -= size) {
    if (wordAt(bytes.data() + position - size) & 0x8080808080808080u) break;
  }
  while (position > 0 && isAsciiByte(bytes[position - 1])) --position;
  return position;
}

template <class CodePointOf>
std::size_t expandedSize(std::string_view bytes, CodePointOf codePointOf) {
  std::size_t size = bytes.size();
  for (std::size_t at = 0; (at = asciiRunEnd(bytes, at)) < bytes.size();) {
    for (; at < bytes.size() && !isAsciiByte(bytes[at]); ++at) {
      size += utf8Size(codePointOf(bytes[at])) - 1;
    }
  }
  return size;
}

// One code point for each byte, written from the end on within the same string.
template <class CodePointOf>
std::string expanded(std::string text, CodePointOf codePointOf) {
  std::size_t read = text.size();
  std::size_t written = expandedSize(text, codePointOf);
  text.resize(written);
  const auto put = [&](char32_t byte) { text[--written] = static_cast<char>(byte); };
  while (read < written) {  // what is left otherwise is ASCII and in its place
    const std::size_t run = asciiRunStart(text, read);
    written -= read - run;
    std::memmove(text.data() + written, text.data() + run, read - run);
    if ((read = run) == written) break;
    char32_t c = codePointOf(text[--read]);
    const std::size_t size = utf8Size(c);
    for (std::size_t left = size; left > 1; --left, c >>= 6) put(0x80 | (c & 0x3F));
    put(size == 2 ? 0xC0 | c : 0xE0 | c);
  }
  return text;
}

}  // namespace

std::string decodeBytes(std::string bytes, std::string_view charsetLabel) {
  if (isValidUtf8(bytes)) return bytes;
  const bool windows = asksForWindows1252(charsetLabel) && isWindows1252(bytes);
  return expanded(std::move(bytes), [windows](char byte) {
    return windows ? windows1252CodePoint(byte) : static_cast<unsigned char>(byte);
  });
}

}  // namespace halcyra

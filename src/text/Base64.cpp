#include "text/Base64.h"

#include <array>
#include <cstdint>

namespace halcyra {
namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t noDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> digitValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(noDigit);
  for (std::size_t digit = 0; digit < alphabet.size(); ++digit) {
    values[static_cast<unsigned char>(alphabet[digit])] = static_cast<std::uint8_t>(digit);
  }
  return values;
}();

}  // namespace

std::string encodeBase64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t position = 0; position < bytes.size(); position += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - position);
    std::uint32_t group = 0;
    for (std::size_t offset = 0; offset < 3; ++offset) {
      group <<= 8;
      if (offset < count) group |= static_cast<unsigned char>(bytes[position + offset]);
    }
    for (std::size_t digit = 0; digit < 4; ++digit) {
      text.push_back(digit <= count ? alphabet[group >> (18 - 6 * digit) & 0x3F] : '=');
    }
  }
  return text;
}

std::optional<std::string> decodeBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') ++padding;
  const std::size_t digits = text.size() - padding;

  std::string bytes(text.size() / 4 * 3, '\0');
  char* written = bytes.data();
  const auto put = [&written](std::uint32_t group) {
    written[0] = static_cast<char>(group >> 16);
    written[1] = static_cast<char>(group >> 8);
    written[2] = static_cast<char>(group);
    written += 3;
  };
  const auto value = [text](std::size_t position) -> std::uint32_t {
    return digitValues[static_cast<unsigned char>(text[position])];
  };
  std::size_t position = 0;
  for (; position + 4 <= digits; position += 4) {
    const std::uint32_t a = value(position), b = value(position + 1), c = value(position + 2),
                        d = value(position + 3);
    if ((a | b | c | d) == noDigit) return std::nullopt;
    put(a << 18 | b << 12 | c << 6 | d);
  }
  if (position < digits) {
    std::uint32_t group = 0;
    for (int shift = 18; position < digits; ++position, shift -= 6) {
      if (value(position) == noDigit) return std::nullopt;
      group |= value(position) << shift;
    }
    put(group);
  }
  bytes.resize(bytes.size() - padding);
  return bytes;
}

}  // namespace halcyra

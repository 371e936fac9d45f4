#include "text/WideSpace.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "text/ByteWord.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

// The compiler has a vector instruction for each operation on these.
constexpr std::size_t stretch = 16;
using Bytes [[gnu::vector_size(stretch)]] = unsigned char;

// Whether white space other than a single space before a graphic character of ASCII may begin, as
// far as a byte and the next tell. Beyond ASCII these are the lead bytes of U+0085, U+00A0, U+1680,
// U+2000 to U+205F and U+3000. For one byte, or for several at once with an answer for each.
template <class Byte>
auto mayBegin(Byte byte, Byte next) {
  const auto control = (byte >= '\t') & (byte <= '\r') & (byte != '\n');
  const auto lead = (byte == 0xC2) | ((byte >= 0xE1) & (byte <= 0xE3));
  const auto unpaired = (byte == ' ') & ((next <= ' ') | (next >= 0x7F));
  return control | lead | unpaired;
}

// The first byte of a stretch where it may, or `stretch`. Looks at one byte more.
std::size_t firstPossible(const char* place) {
  Bytes bytes, next;
  std::memcpy(&bytes, place, stretch);
  std::memcpy(&next, place + 1, stretch);
  const auto halves = std::bit_cast<std::array<std::uint64_t, 2>>(mayBegin(bytes, next));
  return halves[0] != 0 ? firstByteOf(halves[0]) : 8 + firstByteOf(halves[1]);
}

// The first place from `position` on where it may, or the size of the text.
std::size_t nextPossible(std::string_view text, std::size_t position) {
  for (; position + stretch < text.size(); position += stretch) {
    const std::size_t first = firstPossible(text.data() + position);
    if (first < stretch) return position + first;
  }
  for (; position < text.size(); ++position) {
    const char next = position + 1 < text.size() ? text[position + 1] : '\0';
    if (mayBegin(static_cast<unsigned char>(text[position]), static_cast<unsigned char>(next)))
      break;
  }
  return position;
}

}  // namespace

std::optional<Match> nextWideSpace(std::string_view text, std::size_t from) {
  for (std::size_t position = from;;) {
    const std::size_t begin = nextPossible(text, position);
    if (begin == text.size()) return std::nullopt;
    position = begin;
    const char32_t first = nextCodePoint(text, position);
    if (!isWhiteSpace(first)) continue;
    for (std::size_t next = position; next < text.size(); position = next) {
      const char32_t following = nextCodePoint(text, next);
      if (following == '\n' || !isWhiteSpace(following)) break;
    }
    if (position - begin > 1 || first != ' ') return Match{begin, position};
  }
}

}  // namespace halcyra

#include "text/Utf8.h"

#include <cstdint>

#include "text/ByteWord.h"

namespace halcyra {
namespace {

constexpr std::uint64_t highBits = 0x8080808080808080u;

struct Sequence {
  std::size_t length = 1;  // of the sequence, or of its maximal ill-formed subpart
  bool valid = false;
};

// The sequence that a byte of 0x80 and above starts (Unicode, table 3-7).
Sequence sequenceAt(std::string_view bytes, std::size_t position) {
  auto byte = [&](std::size_t index) { return static_cast<unsigned char>(bytes[index]); };
  const unsigned char lead = byte(position);
  std::size_t length = 0;
  unsigned char low = 0x80, high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return {};
  }
  for (std::size_t offset = 1; offset < length; ++offset) {
    if (position + offset >= bytes.size()) return {offset, false};
    const unsigned char next = byte(position + offset);
    if (next < low || next > high) return {offset, false};
    low = 0x80;
    high = 0xBF;
  }
  return {length, true};
}

// Position of the first ill-formed sequence, or the size.
std::size_t firstFault(std::string_view bytes) {
  std::size_t position = 0;
  while ((position = asciiRunEnd(bytes, position)) < bytes.size()) {
    const Sequence sequence = sequenceAt(bytes, position);
    if (!sequence.valid) return position;
    position += sequence.length;
  }
  return bytes.size();
}

// Hands out the repaired text from `position` on, piece by piece.
template <class Take>
void repairFrom(std::size_t position, std::string_view bytes, Take take) {
  while (position < bytes.size()) {
    const std::size_t run = asciiRunEnd(bytes, position);
    take(bytes.substr(position, run - position));
    if ((position = run) == bytes.size()) break;
    const Sequence sequence = sequenceAt(bytes, position);
    take(sequence.valid ? bytes.substr(position, sequence.length) : "\xEF\xBF\xBD");
    position += sequence.length;
  }
}

}  // namespace

std::size_t asciiRunEnd(std::string_view bytes, std::size_t position) {
  constexpr std::size_t size = sizeof(std::uint64_t);
  const char* const start = bytes.data();
  std::size_t end = position;
  for (; end + 4 * size <= bytes.size(); end += 4 * size) {
    const std::uint64_t all = wordAt(start + end) | wordAt(start + end + size) |
                              wordAt(start + end + 2 * size) | wordAt(start + end + 3 * size);
    if (all & highBits) break;
  }
  for (; end + size <= bytes.size(); end += size) {
    if (const std::uint64_t high = wordAt(start + end) & highBits) return end + firstByteOf(high);
  }
  if (bytes.size() < position + size) {
    while (end < bytes.size() && static_cast<unsigned char>(bytes[end]) < 0x80) ++end;
    return end;
  }
  // The last word may overlap others, of which all bytes were ASCII.
  const std::uint64_t high = wordAt(start + bytes.size() - size) & highBits;
  return high ? bytes.size() - size + firstByteOf(high) : bytes.size();
}

bool isAscii(std::string_view bytes) {
  return asciiRunEnd(bytes, 0) == bytes.size();
}

bool isValidUtf8(std::string_view bytes) {
  return firstFault(bytes) == bytes.size();
}

std::string repairedUtf8(std::string bytes) {
  const std::size_t fault = firstFault(bytes);
  if (fault == bytes.size()) return bytes;
  // Measured first: growing step by step would hold a large text twice.
  std::size_t size = fault;
  repairFrom(fault, bytes, [&size](std::string_view piece) { size += piece.size(); });
  std::string repaired;
  repaired.reserve(size);
  repaired.append(bytes, 0, fault);
  repairFrom(fault, bytes, [&repaired](std::string_view piece) { repaired.append(piece); });
  return repaired;
}

char32_t nextWideCodePoint(std::string_view text, std::size_t& position) {
  const auto byte = [&](std::size_t offset) {
    return static_cast<char32_t>(static_cast<unsigned char>(text[position + offset]));
  };
  const char32_t lead = byte(0);
  char32_t value;
  std::size_t length;
  if (lead < 0xE0) {
    value = (lead & 0x1F) << 6 | (byte(1) & 0x3F), length = 2;
  } else if (lead < 0xF0) {
    value = (lead & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F), length = 3;
  } else {
    value = (lead & 0x07) << 18 | (byte(1) & 0x3F) << 12 | (byte(2) & 0x3F) << 6 | (byte(3) & 0x3F);
    length = 4;
  }
  position += length;
  return value;
}

std::size_t codePointStart(std::string_view text, std::size_t position) {
  while (position > 0 && (static_cast<unsigned char>(text[position]) & 0xC0) == 0x80) --position;
  return position;
}

void appendUtf8(std::string& text, char32_t codePoint) {
  const auto put = [&](char32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (codePoint < 0x80) {
    put(codePoint);
  } else if (codePoint < 0x800) {
    put(0xC0 | codePoint >> 6);
    put(0x80 | (codePoint & 0x3F));
  } else if (codePoint < 0x10000) {
    put(0xE0 | codePoint >> 12);
    put(0x80 | (codePoint >> 6 & 0x3F));
    put(0x80 | (codePoint & 0x3F));
  } else {
    put(0xF0 | codePoint >> 18);
    put(0x80 | (codePoint >> 12 & 0x3F));
    put(0x80 | (codePoint >> 6 & 0x3F));
    put(0x80 | (codePoint & 0x3F));
  }
}

}  // namespace halcyra

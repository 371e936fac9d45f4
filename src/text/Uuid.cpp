#include "text/Uuid.h"

#include <random>

namespace halcyra {
namespace {

bool isHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isHyphenPlace(std::size_t index) {
  return index == 8 || index == 13 || index == 18 || index == 23;
}

}  // namespace

std::string newUuid() {
  std::random_device source;
  std::uniform_int_distribution<int> digit(0, 15);
  std::string uuid(36, '-');
  for (std::size_t index = 0; index < uuid.size(); ++index) {
    if (isHyphenPlace(index)) continue;
    int value = digit(source);
    if (index == 14) value = 4;                   // version
    if (index == 19) value = 8 | (value & 0b11);  // variant
    uuid[index] = "0123456789ABCDEF"[value];
  }
  return uuid;
}

bool isCanonicalUuid(std::string_view text) {
  if (text.size() != 36) return false;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (isHyphenPlace(index) ? text[index] != '-' : !isHexDigit(text[index])) return false;
  }
  return true;
}

}  // namespace halcyra

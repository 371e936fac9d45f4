#include "text/Case.h"

#include <unicode/bytestream.h>
#include <unicode/casemap.h>

#include <algorithm>

#include "text/Utf8.h"

namespace halcyra {

std::string asciiLowercased(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), asciiLower);
  return result;
}

std::string lowercased(std::string_view text) {
  if (isAscii(text)) return asciiLowercased(text);
  std::string result;
  icu::StringByteSink<std::string> sink(&result, static_cast<int32_t>(text.size()));
  UErrorCode status = U_ZERO_ERROR;
  icu::CaseMap::utf8ToLower("", 0, icu::StringPiece(text.data(), static_cast<int32_t>(text.size())),
                            sink, nullptr, status);
  return U_SUCCESS(status) ? result : asciiLowercased(text);
}

bool equalsIgnoringAsciiCase(std::string_view left, std::string_view right) {
  return left.size() == right.size() &&
         std::equal(left.begin(), left.end(), right.begin(),
                    [](char a, char b) { return asciiLower(a) == asciiLower(b); });
}

}  // namespace halcyra

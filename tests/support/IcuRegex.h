#pragma once

#include <unicode/regex.h>

#include <string>
#include <string_view>
#include <vector>

#include "text/Scan.h"

namespace halcyra {

inline icu::UnicodeString unicode(std::string_view utf8) {
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
}

inline std::string utf8(const icu::UnicodeString& text) {
  std::string result;
  return text.toUTF8String(result);
}

/// ICU's own engine, as the oracle that hand-written scanners are held against.
class IcuRegex {
 public:
  explicit IcuRegex(std::string_view expression) : matcher_(unicode(expression), 0, status_) {}

  bool valid() const { return U_SUCCESS(status_); }

  std::string replaceAll(std::string_view text, std::string_view by) {
    const icu::UnicodeString input = unicode(text);
    matcher_.reset(input);
    return utf8(matcher_.replaceAll(unicode(by), status_));
  }

  /// The matched texts, each behind the UTF-16 place where it starts.
  std::vector<std::string> findAll(std::string_view text) {
    const icu::UnicodeString input = unicode(text);
    matcher_.reset(input);
    std::vector<std::string> found;
    while (matcher_.find()) {
      found.push_back(std::to_string(matcher_.start(status_)) + " " +
                      utf8(matcher_.group(status_)));
    }
    return found;
  }

 private:
  UErrorCode status_ = U_ZERO_ERROR;
  icu::RegexMatcher matcher_;
};

}  // namespace halcyra

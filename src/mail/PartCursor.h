#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "mail/DelimiterIndex.h"

namespace halcyra {

/// The two indexes of one message, by kind of newline, each built when first needed.
class DelimiterIndexes {
 public:
  explicit DelimiterIndexes(std::string_view message) : message_(message) {}

  /// False for a message beyond what an index takes.
  bool possible() const { return DelimiterIndex::fits(message_); }
  std::string_view message() const { return message_; }
  DelimiterIndex& behind(std::string_view newline);

 private:
  std::string_view message_;
  std::optional<DelimiterIndex> lineFeed_;
  std::optional<DelimiterIndex> carriageReturnLineFeed_;
};

/// Hands out the parts of a multipart body (RFC 2046, section 5.1.1), one after the other. The
/// first delimiter may stand anywhere, later ones only behind a newline; a body that is not closed
/// ends with its last part.
class PartCursor {
 public:
  /// `newline` is CR LF if the body holds one, else LF. With `indexes`, delimiters are looked up
  /// there instead of being searched for; `body` then is a view into their message. Body, newline
  /// and indexes must outlive the cursor.
  PartCursor(std::string_view body, std::string_view boundary, std::string_view newline,
             DelimiterIndexes* indexes);

  /// The next part that is not empty, without newlines at its ends; nothing behind the last.
  std::optional<std::string_view> next();

  /// The text before the first delimiter, untrimmed; empty when there is none.
  std::string_view preamble() const {
    return {body_, static_cast<std::size_t>(opener_.data() - body_)};
  }

 private:
  std::size_t findDelimiter();
  std::string_view takeUnterminated();

  // There may be as many cursors as a message has levels; what they hold is small.
  const char* body_ = nullptr;
  std::string_view opener_;     // "--" and boundary, where the body has them first
  std::string_view newline_;    // stands before the "--" of the later ones
  std::string_view rest_;       // empty when all parts are handed out
  const char* base_ = nullptr;  // of `places_`; null when delimiters are searched for
  DelimiterPlaces places_ = {};
};

}  // namespace halcyra

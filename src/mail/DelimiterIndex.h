#pragma once

#include <cstddef>
#include <map>
#include <span>
#include <string_view>
#include <vector>

namespace halcyra {

/// All places in a text where a line starts with "--", ready to be asked for those that a given
/// boundary follows. Deeply nested multiparts look their delimiters up here, since each level
/// searching on its own would read the inner levels' text once per level.
///
/// Building costs a sort of the lines; a place is listed at most once for each distinct boundary
/// that its line begins with.
class DelimiterIndex {
 public:
  /// `newline` is what precedes the "--". The text must outlive the index.
  DelimiterIndex(std::string_view text, std::string_view newline);

  /// Ascending places of newline, "--" and `boundary`. Valid as long as the index.
  std::span<const std::size_t> places(std::string_view boundary);

 private:
  std::string_view behind(std::size_t place) const { return text_.substr(place + openerSize_); }

  std::string_view text_;
  std::size_t openerSize_;
  std::vector<std::size_t> sorted_;  // by the line behind "--"
  std::map<std::string_view, std::vector<std::size_t>> placesOf_;
};

}  // namespace halcyra

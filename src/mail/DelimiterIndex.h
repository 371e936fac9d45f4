#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string_view>
#include <vector>

namespace halcyra {

/// The places of one boundary's delimiters, asked for with places that never go back.
class DelimiterPlaces {
 public:
  DelimiterPlaces() = default;

  /// The first place at or after `from`, or npos.
  std::size_t next(std::size_t from);

 private:
  friend class DelimiterIndex;
  static constexpr std::size_t few = 8;

  explicit DelimiterPlaces(std::span<const std::uint32_t> places) : places_(places) {}

  std::span<const std::uint32_t> places_;  // ascending when there are more than a few
};

/// All places in a text where a line starts with "--", ready to be asked for those that a given
/// boundary follows. Deeply nested multiparts look their delimiters up here, since each level
/// searching on its own would read the inner levels' text once per level.
///
/// Building costs a sort of the lines; a place is listed at most once for each distinct boundary
/// that its line begins with, and not at all for a boundary with only a few places.
class DelimiterIndex {
 public:
  /// Whether places in the text fit the index.
  static bool fits(std::string_view text);

  /// `newline` is what precedes the "--". The text, which must fit, outlives the index.
  DelimiterIndex(std::string_view text, std::string_view newline);

  /// Places of newline, "--" and `boundary`. Valid as long as the index.
  DelimiterPlaces places(std::string_view boundary);

 private:
  std::string_view behind(std::size_t place) const { return text_.substr(place + openerSize_); }

  std::string_view text_;
  std::size_t openerSize_;
  std::vector<std::uint32_t> sorted_;  // by the line behind "--"
  std::map<std::string_view, std::vector<std::uint32_t>> placesOf_;
};

}  // namespace halcyra

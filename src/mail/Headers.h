#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// A message or part, cut at its first blank line. Views into the text it was made from.
struct HeaderSplit {
  std::string_view headers;
  std::string_view body;
};

/// Cuts at the first CR LF CR LF, else at the first LF LF; with neither all is body.
HeaderSplit splitHeaders(std::string_view message);

/// The value of a header, its folded lines joined by one space each; the last header of a repeated
/// name counts. Absent when there is none; an empty value is a value.
std::optional<std::string> headerValue(std::string_view name, std::string_view headerBlock);

}  // namespace halcyra

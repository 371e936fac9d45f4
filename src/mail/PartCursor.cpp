#include "mail/PartCursor.h"

#include <string>

#include "text/Scan.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr std::string_view newlines = "\r\n";
constexpr std::string_view closingMark = "--";

}  // namespace

DelimiterIndex& DelimiterIndexes::behind(std::string_view newline) {
  std::optional<DelimiterIndex>& index = newline == "\n" ? lineFeed_ : carriageReturnLineFeed_;
  if (!index) index.emplace(message_, newline);
  return *index;
}

PartCursor::PartCursor(std::string_view body, std::string_view boundary, std::string_view newline,
                       DelimiterIndexes* indexes) {
  const std::string opener = std::string(closingMark).append(boundary);
  const std::size_t first = findText(body, opener);
  if (first == body.npos) return;
  body_ = body.data();
  opener_ = body.substr(first, opener.size());
  newline_ = newline;
  rest_ = body.substr(first + opener.size());
  if (rest_.starts_with(newline)) rest_.remove_prefix(newline.size());
  if (indexes) {
    base_ = indexes->message().data();
    places_ = indexes->behind(newline).places(boundary);
  }
}

std::optional<std::string_view> PartCursor::next() {
  while (!rest_.empty() && !rest_.starts_with(closingMark)) {
    const std::size_t end = findDelimiter();
    std::string_view part;
    if (end == rest_.npos) {
      part = takeUnterminated();
    } else {
      part = trimmedOf(rest_.substr(0, end), newlines);
      rest_.remove_prefix(end + newline_.size() + opener_.size());
    }
    if (!part.empty()) return part;
  }
  return std::nullopt;
}

// Place in `rest_` of the next delimiter, or npos.
std::size_t PartCursor::findDelimiter() {
  if (!base_) return findText(rest_, std::string(newline_).append(opener_));
  const auto start = static_cast<std::size_t>(rest_.data() - base_);
  const std::size_t found = places_.next(start);
  if (found == rest_.npos) return found;
  const std::size_t place = found - start, size = newline_.size() + opener_.size();
  return place < rest_.size() && size <= rest_.size() - place ? place : rest_.npos;
}

std::string_view PartCursor::takeUnterminated() {
  std::string_view part = trimmedOf(rest_, newlines);
  rest_ = {};
  if (part.ends_with(closingMark)) {
    part.remove_suffix(closingMark.size());
    part = trimmedOf(part, newlines);
  }
  return part;
}

}  // namespace halcyra

#include "mail/DelimiterIndex.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <string>

#include "text/Scan.h"

namespace halcyra {
namespace {

std::string_view firstLine(std::string_view text) {
  return text.substr(0, text.find('\n'));
}

// The byte of a line at `index`, or -1 behind its end.
int lineByte(std::string_view text, std::size_t index) {
  return index < text.size() && text[index] != '\n' ? static_cast<unsigned char>(text[index]) : -1;
}

// Order of two texts by their first lines, read no further than they agree.
bool lineLess(std::string_view left, std::string_view right) {
  for (std::size_t index = 0;; ++index) {
    const int a = lineByte(left, index), b = lineByte(right, index);
    if (a != b) return a < b;
    if (a < 0) return false;
  }
}

}  // namespace

std::size_t DelimiterPlaces::next(std::size_t from) {
  std::size_t nearest = std::string_view::npos;
  if (places_.size() > few) {
    places_ = {std::lower_bound(places_.begin(), places_.end(), from), places_.end()};
    return places_.empty() ? nearest : places_.front();
  }
  for (const std::uint32_t place : places_) {
    if (place >= from) nearest = std::min<std::size_t>(nearest, place);
  }
  return nearest;
}

bool DelimiterIndex::fits(std::string_view text) {
  return text.size() <= std::numeric_limits<std::uint32_t>::max();
}

DelimiterIndex::DelimiterIndex(std::string_view text, std::string_view newline)
    : text_(text), openerSize_(newline.size() + 2) {
  const std::string opener = std::string(newline) + "--";
  for (std::size_t place = 0; (place = findText(text, opener, place)) != text.npos; ++place) {
    sorted_.push_back(static_cast<std::uint32_t>(place));
  }
  std::sort(sorted_.begin(), sorted_.end(), [this](std::uint32_t left, std::uint32_t right) {
    return lineLess(behind(left), behind(right));
  });
}

DelimiterPlaces DelimiterIndex::places(std::string_view boundary) {
  // A boundary that holds a line feed, as a folded header can smuggle in, is found by its first
  // line.
  const std::string_view head = firstLine(boundary);
  const bool isLine = head.size() == boundary.size();
  const auto startOf = [&](std::uint32_t place) { return behind(place).substr(0, head.size()); };
  const auto first = std::partition_point(sorted_.begin(), sorted_.end(), [&](std::uint32_t place) {
    return firstLine(startOf(place)) < head;
  });
  const auto last = std::partition_point(
      first, sorted_.end(), [&](std::uint32_t place) { return startOf(place) == head; });
  if (isLine && static_cast<std::size_t>(last - first) <= DelimiterPlaces::few) {
    return DelimiterPlaces({first, last});
  }

  if (const auto known = placesOf_.find(boundary); known != placesOf_.end()) {
    return DelimiterPlaces(known->second);
  }
  std::vector<std::uint32_t> found;
  std::copy_if(first, last, std::back_inserter(found),
               [&](std::uint32_t place) { return isLine || behind(place).starts_with(boundary); });
  if (found.empty()) return {};
  found.shrink_to_fit();
  std::sort(found.begin(), found.end());
  const std::string_view key = behind(found.front()).substr(0, boundary.size());
  return DelimiterPlaces(placesOf_.emplace(key, std::move(found)).first->second);
}

}  // namespace halcyra

#include "mail/DayInterval.h"

#include <array>
#include <cstdio>

namespace halcyra {

DayInterval currentDay(const Clock& clock) {
  // Well inside the next day, whatever its own and today's length.
  constexpr std::chrono::hours onwards(36);
  const TimePoint start = clock.startOfLocalDay(clock.now());
  return {start, clock.startOfLocalDay(start + onwards)};
}

std::string slashedDate(const Clock& clock, TimePoint moment) {
  const LocalTime local = clock.localTime(moment);
  std::array<char, 40> text;
  std::snprintf(text.data(), text.size(), "%04d/%02d/%02d", local.year, local.month, local.day);
  return text.data();
}

}  // namespace halcyra

#include "mail/DayInterval.h"

#include <array>
#include <cstdio>

#include "platform/LocalDay.h"

namespace halcyra {

DayInterval currentDay(const Clock& clock) {
  const TimePoint start = clock.startOfLocalDay(clock.now());
  return {start, nextLocalDay(clock, start)};
}

std::string slashedDate(const Clock& clock, TimePoint moment) {
  const LocalTime local = clock.localTime(moment);
  std::array<char, 40> text;
  std::snprintf(text.data(), text.size(), "%04d/%02d/%02d", local.year, local.month, local.day);
  return text.data();
}

}  // namespace halcyra

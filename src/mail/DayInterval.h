#pragma once

#include <string>

#include "platform/Clock.h"

namespace halcyra {

/// One day of the user's calendar: the start belongs to it, the end to the next one.
struct DayInterval {
  TimePoint start;
  TimePoint end;
};

/// The day that it is now, 23 or 25 hours long where clocks are changed.
DayInterval currentDay(const Clock& clock);

/// The day that holds the moment as "yyyy/MM/dd", in the user's time zone.
std::string slashedDate(const Clock& clock, TimePoint moment);

}  // namespace halcyra

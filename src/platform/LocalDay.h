#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "platform/Clock.h"

namespace halcyra {

/// Days of the user's calendar, by the clock's time zone. A day lasts 23 to 25 hours where clocks
/// are changed.

/// From 1 for Sunday to 7 for Saturday.
int weekdayOf(const LocalTime& time);

/// The start of the day after the one that begins at `day`.
TimePoint nextLocalDay(const Clock& clock, TimePoint day);

/// The moment at which the day's clock shows the full hour: the first one where that happens twice,
/// and the next time there is where a change of clocks leaves the hour out. Nothing for an hour
/// outside 0 to 23.
std::optional<TimePoint> localHour(const Clock& clock, TimePoint day, std::int64_t hour);

/// The start of the day with this date; of a day beside it where the zone left the date out.
TimePoint startOfLocalDate(const Clock& clock, std::chrono::sys_days date);

}  // namespace halcyra

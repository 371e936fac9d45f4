#include "platform/LocalDay.h"

#include <algorithm>

namespace halcyra {
namespace {

using namespace std::chrono;

sys_days dateOf(const LocalTime& time) {
  return year(time.year) / time.month / time.day;
}

// What the clock on the wall shows, as if the zone were UTC.
sys_seconds wallTime(const Clock& clock, TimePoint moment) {
  const LocalTime time = clock.localTime(moment);
  return dateOf(time) + hours(time.hour) + minutes(time.minute) + seconds(time.second);
}

}  // namespace

int weekdayOf(const LocalTime& time) {
  return static_cast<int>(weekday(dateOf(time)).c_encoding()) + 1;
}

TimePoint nextLocalDay(const Clock& clock, TimePoint day) {
  // Well inside the next day, whatever its own and this day's length.
  return clock.startOfLocalDay(day + hours(36));
}

std::optional<TimePoint> localHour(const Clock& clock, TimePoint day, std::int64_t hour) {
  if (hour < 0 || hour > 23) return std::nullopt;
  const sys_seconds wanted = dateOf(clock.localTime(day)) + hours(hour);
  const TimePoint guess = day + hours(hour);
  const TimePoint corrected = guess + (wanted - wallTime(clock, guess));
  // A second miss means that the hour does not exist and the two lie on both sides of the gap.
  return wallTime(clock, corrected) == wanted ? corrected : std::max(guess, corrected);
}

TimePoint startOfLocalDate(const Clock& clock, sys_days date) {
  const sys_seconds noon = date + hours(12);
  const TimePoint offNoon = noon - (wallTime(clock, noon) - noon);
  return clock.startOfLocalDay(offNoon);
}

}  // namespace halcyra

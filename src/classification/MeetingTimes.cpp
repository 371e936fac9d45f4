#include "classification/MeetingTimes.h"

#include <algorithm>

#include "crm/AgendaDate.h"
#include "platform/LocalDay.h"

namespace halcyra {
namespace {

using namespace std::chrono;

constexpr minutes meetingLength(30);
constexpr std::size_t mostStarts = 14;
constexpr int daysLookedAt = 5;

bool isWorkingDay(TimePoint day, const std::vector<std::int64_t>& weekdays, const Clock& clock) {
  return std::ranges::count(weekdays, weekdayOf(clock.localTime(day))) > 0;
}

InternetMoment inMilliseconds(TimePoint moment) {
  return floor<milliseconds>(moment);
}

// Years that a clock cannot count in stand for "always" and "never".
sys_days dateInReach(InternetMoment date) {
  constexpr sys_days first = year(1900) / 1 / 1;
  constexpr sys_days last = year(2200) / 1 / 1;
  return std::clamp(floor<days>(date), first, last);
}

InternetMoment localMidnight(sys_days date, const Clock& clock) {
  return inMilliseconds(startOfLocalDate(clock, date));
}

InternetMoment momentOf(const AgendaDate& date, const Clock& clock) {
  return date.isDateOnly ? localMidnight(dateInReach(date.moment), clock) : date.moment;
}

// A date alone ends with its day at the earliest.
BusyWindow dateWindow(InternetMoment start, const std::optional<AgendaDate>& end,
                      const Clock& clock) {
  const BusyWindow day{localMidnight(dateInReach(start), clock),
                       localMidnight(dateInReach(start) + days(1), clock)};
  return {day.start, end ? std::max(momentOf(*end, clock), day.end) : day.end};
}

// Graph writes an event of whole days as one from midnight to midnight UTC, whatever the zone.
bool lastsWholeDaysOfUTC(const BusyWindow& window) {
  const auto isMidnight = [](InternetMoment moment) { return floor<days>(moment) == moment; };
  return window.start < window.end && isMidnight(window.start) && isMidnight(window.end);
}

// The user is busy on these dates too, wherever their days begin.
BusyWindow withLocalDays(const BusyWindow& window, const Clock& clock) {
  return {std::min(window.start, localMidnight(dateInReach(window.start), clock)),
          std::max(window.end, localMidnight(dateInReach(window.end), clock))};
}

std::optional<BusyWindow> busyWindow(const AgendaEvent& event, const Clock& clock) {
  const auto start = readAgendaDate(event.start);
  if (!start) return std::nullopt;
  const auto end = readAgendaDate(event.end);
  if (start->isDateOnly) return dateWindow(start->moment, end, clock);
  // Something begins there, however long it takes.
  if (!end) return BusyWindow{start->moment, start->moment + meetingLength};
  const BusyWindow window{start->moment, momentOf(*end, clock)};
  return lastsWholeDaysOfUTC(window) ? withLocalDays(window, clock) : window;
}

bool isFree(TimePoint start, minutes gap, const std::vector<BusyWindow>& busy) {
  const InternetMoment from = inMilliseconds(start - gap);
  const InternetMoment to = inMilliseconds(start + meetingLength + gap);
  return std::ranges::none_of(
      busy, [&](const BusyWindow& window) { return window.start < to && window.end > from; });
}

}  // namespace

TimePoint earliestMeetingDay(std::int64_t leadDays,
                             const std::vector<std::int64_t>& workingWeekdays, const Clock& clock) {
  constexpr std::int64_t longestLead = 1000;
  TimePoint day = clock.startOfLocalDay(clock.now());
  std::int64_t left = std::min(leadDays, longestLead);
  // Each week has a working day; without any the count would not end.
  for (std::int64_t most = left * 7; left > 0 && most > 0; --most) {
    day = nextLocalDay(clock, day);
    if (isWorkingDay(day, workingWeekdays, clock)) --left;
  }
  return day;
}

std::string workingWeekdayNames(const std::vector<std::int64_t>& weekdays,
                                const DateStyles& styles) {
  std::string names;
  for (int weekday = 1; weekday <= 7; ++weekday) {
    if (std::ranges::count(weekdays, weekday) == 0) continue;
    names += (names.empty() ? "" : ", ") + styles.shortWeekday(weekday);
  }
  return names;
}

std::vector<BusyWindow> busyWindows(const std::vector<AgendaEvent>& events, const Clock& clock) {
  std::vector<BusyWindow> windows;
  for (const AgendaEvent& event : events) {
    if (const auto window = busyWindow(event, clock)) windows.push_back(*window);
  }
  return windows;
}

std::vector<TimePoint> allowedStarts(TimePoint earliestDay, const MeetingHours& hours,
                                     const std::vector<BusyWindow>& busy, const Clock& clock) {
  constexpr std::int64_t longestGap = 28 * 24 * 60;  // no agenda reaches further
  const minutes gap(std::min(hours.gap, longestGap));
  std::vector<TimePoint> starts;
  TimePoint day = earliestDay;
  for (int offset = 0; offset < daysLookedAt; ++offset, day = nextLocalDay(clock, day)) {
    if (!isWorkingDay(day, hours.weekdays, clock)) continue;
    const auto open = localHour(clock, day, hours.start);
    const auto close = localHour(clock, day, hours.end);
    if (!open || !close) continue;
    for (TimePoint start = *open; start + meetingLength <= *close; start += meetingLength) {
      if (isFree(start, gap, busy)) starts.push_back(start);
      if (starts.size() == mostStarts) return starts;
    }
  }
  return starts;
}

}  // namespace halcyra

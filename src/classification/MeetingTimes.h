#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "crm/AgendaEvent.h"
#include "crm/DateStyles.h"
#include "platform/Clock.h"
#include "text/InternetDate.h"

namespace halcyra {

/// When a meeting may be proposed. Weekdays are 1 for Sunday to 7 for Saturday.

/// The start of the day that lies so many working days behind today, which itself never counts; of
/// today for less than one. A lead beyond 1000 days counts as 1000.
TimePoint earliestMeetingDay(std::int64_t leadDays,
                             const std::vector<std::int64_t>& workingWeekdays, const Clock& clock);

/// The short names of the weekdays, from Sunday to Saturday, joined by ", ".
std::string workingWeekdayNames(const std::vector<std::int64_t>& weekdays,
                                const DateStyles& styles);

/// From the start up to, but without, the end.
struct BusyWindow {
  InternetMoment start;
  InternetMoment end;

  bool operator==(const BusyWindow&) const = default;
};

/// The windows of the events whose start can be read. A date alone is a day of the user's zone from
/// midnight to midnight, up to the day that the end names, which does not belong to the event.
/// Whole days of UTC, as Graph writes them, cover those days of the user's zone too. A time without
/// a readable end lasts as long as a meeting.
std::vector<BusyWindow> busyWindows(const std::vector<AgendaEvent>& events, const Clock& clock);

struct MeetingHours {
  std::vector<std::int64_t> weekdays;
  /// Full hours of the day.
  std::int64_t start = 0;
  std::int64_t end = 0;
  /// Minutes to keep free around each window.
  std::int64_t gap = 0;
};

/// The starts of free half hours in the five days from `earliestDay` on, at most 14, in order. They
/// are compared with the windows only, not with the present.
std::vector<TimePoint> allowedStarts(TimePoint earliestDay, const MeetingHours& hours,
                                     const std::vector<BusyWindow>& busy, const Clock& clock);

}  // namespace halcyra

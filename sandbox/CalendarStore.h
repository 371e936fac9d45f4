#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/InternetDate.h"

namespace halcyra::sandbox {

struct CalendarEvent {
  std::string title;
  InternetMoment start;
  InternetMoment end;
  /// From midnight to midnight UTC.
  bool isAllDay = false;
  /// Given by the store.
  std::string id = {};
};

/// The calendars of one person.
class CalendarStore {
 public:
  /// The first one is the primary or default calendar.
  explicit CalendarStore(std::string firstId);

  void addCalendar(std::string id);

  /// Throws std::out_of_range for an unknown calendar.
  void addEvent(std::string_view calendarId, CalendarEvent event);

  std::vector<std::string> ids() const;

  /// The events that touch the period, by their start; nothing for an unknown calendar.
  std::optional<std::vector<CalendarEvent>> between(std::string_view calendarId,
                                                    InternetMoment start, InternetMoment end) const;

 private:
  struct Calendar {
    std::string id;
    std::vector<CalendarEvent> events;
  };

  std::vector<Calendar> calendars_;
  int events_ = 0;
};

/// The number that a query gives, or `absent` for an empty text; nothing when it is no number from
/// 1 to `most`.
std::optional<std::size_t> boundedNumber(const std::string& text, std::size_t absent,
                                         std::size_t most);

}  // namespace halcyra::sandbox

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "crm/UserCalendar.h"
#include "text/InternetDate.h"

namespace halcyra {

/// A time of an AgendaEvent as it was read.
struct AgendaDate {
  /// Midnight UTC of a date alone.
  InternetMoment moment;
  bool isDateOnly = false;

  bool operator==(const AgendaDate&) const = default;
};

/// Reads a date and time of RFC 3339, one without an offset, which is in UTC (the zone in which
/// Graph answers those who ask for none), or a date alone. What follows a blank, such as the name
/// of a zone, is not looked at.
std::optional<AgendaDate> readAgendaDate(std::string_view text);

/// The moment alone.
std::optional<InternetMoment> parseAgendaDate(std::string_view text);

/// The date in the user's words: date and time of the user's zone, or "{date} (all day)".
std::string agendaDateText(const AgendaDate& date, const UserCalendar& calendar);

/// How a time of an AgendaEvent is shown. A text that is no date from its first character to its
/// last comes back as it is, also one with the name of a zone.
std::string agendaDisplayDate(std::string_view text, const UserCalendar& calendar);

}  // namespace halcyra

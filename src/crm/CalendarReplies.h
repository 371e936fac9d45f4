#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "crm/AgendaEvent.h"

namespace halcyra {

/// Reads the bodies of the calendars' answers. Keys that are not asked for are ignored; a body that
/// is no JSON or has a value of the wrong type throws JsonError. Of texts that strangers may have
/// written, a sensible length is kept.

struct GoogleCalendarList {
  std::vector<std::string> ids;
  /// Of the next page; absent on the last.
  std::optional<std::string> nextPageToken;
};

struct MicrosoftCalendar {
  std::optional<std::string> id;
  std::optional<bool> isDefaultCalendar;
};

GoogleCalendarList googleCalendarList(std::string_view body);
std::vector<MicrosoftCalendar> microsoftCalendars(std::string_view body);

/// The first `most` events; `calendarKey` goes into their keys.
std::vector<AgendaEvent> googleEvents(std::string_view body, const std::string& calendarKey,
                                      std::size_t most);
std::vector<AgendaEvent> microsoftEvents(std::string_view body, const std::string& calendarKey,
                                         std::size_t most);

/// What an answer that is no success says. Takes any body.
std::string calendarErrorDetail(int status, std::string_view body);

}  // namespace halcyra

#pragma once

#include <optional>
#include <string>

namespace halcyra {

/// An event of a calendar, with its times as the provider wrote them.
struct AgendaEvent {
  std::string title;
  /// A date and time, a date alone for an event that lasts all day, or "unknown". Graph's has the
  /// name of a time zone behind a blank.
  std::string start;
  std::string end;
  /// Calendar and event, "{calendar}|{id}"; absent where the event has no id.
  std::optional<std::string> dedupeKey;

  bool operator==(const AgendaEvent&) const = default;
};

}  // namespace halcyra

#include "app/AgendaReport.h"

#include <gtest/gtest.h>

#include "support/ManualClock.h"

namespace halcyra {
namespace {

TEST(AgendaReport, HasALineForEachEvent) {
  const ManualClock clock;
  const DateStyles british("en_GB");
  const auto event = [](const char* start, const char* title) {
    return AgendaEvent{title, start, "unknown", std::nullopt};
  };
  const std::vector<AgendaEvent> events = {
      event("2026-03-05T10:30:00+01:00", "Stand-up"), event("2026-03-06", "Fair\n• forged"),
      event("2026-03-06T10:00:00.0000000 UTC", "Call"), event("some\nday", "Late")};
  const std::string lines =
      "\n• 5 Mar 2026, 09:30 — Stand-up\n• 6 Mar 2026 (all day) — Fair • forged\n• "
      "2026-03-06T10:00:00.0000000 UTC — Call\n• some day — Late";
  struct Case {
    CalendarProvider provider;
    bool all;
    std::vector<AgendaEvent> events;
    std::string text;
  };
  const auto google = CalendarProvider::google;
  const auto microsoft = CalendarProvider::microsoft;
  const Case cases[] = {
      {google, true, {}, "Google agenda: no upcoming events in the next 7 days."},
      {microsoft, false, {}, "Outlook agenda: no upcoming events in the next 7 days."},
      {google, false, events, "Google agenda (primary calendar only, next 4):" + lines},
      {google, true, events, "Google agenda (all readable calendars, next 4):" + lines},
      {microsoft, false, events, "Outlook agenda (default calendar only, next 4):" + lines},
      {microsoft, true, events, "Outlook agenda (all readable calendars, next 4):" + lines},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(agendaReport(c.provider, c.all, c.events, {clock, british}), c.text);
  }
}

}  // namespace
}  // namespace halcyra

#include "app/AgendaReport.h"

#include <gtest/gtest.h>

#include "support/ManualClock.h"

namespace halcyra {
namespace {

TEST(AgendaReport, HasALineForEachEvent) {
  const ManualClock clock;
  const DateStyles british("en_GB");
  const std::vector<AgendaEvent> events = {{"Stand-up", "2026-03-05T10:30:00+01:00", "", {}},
                                           {"Fair\n• forged", "2026-03-06", "", {}},
                                           {"Call", "2026-03-06T10:00:00.0000000 UTC", "", {}},
                                           {"Late", "some\nday", "", {}}};
  const std::string lines =
      "\n• 5 Mar 2026, 09:30 — Stand-up\n• 6 Mar 2026 (all day) — Fair • forged\n• "
      "2026-03-06T10:00:00.0000000 UTC — Call\n• some day — Late";
  const auto report = [&](CalendarProvider provider, bool all) {
    return agendaReport(provider, all, events, {clock, british});
  };
  const auto google = CalendarProvider::google;
  const auto outlook = CalendarProvider::microsoft;
  EXPECT_EQ(report(google, false), "Google agenda (primary calendar only, next 4):" + lines);
  EXPECT_EQ(report(google, true), "Google agenda (all readable calendars, next 4):" + lines);
  EXPECT_EQ(report(outlook, false), "Outlook agenda (default calendar only, next 4):" + lines);
  EXPECT_EQ(report(outlook, true), "Outlook agenda (all readable calendars, next 4):" + lines);
  EXPECT_EQ(agendaReport(google, true, {}, {clock, british}),
            "Google agenda: no upcoming events in the next 7 days.");
}

}  // namespace
}  // namespace halcyra

#include "mail/DayInterval.h"

#include <gtest/gtest.h>

#include "support/ZonedClock.h"
#include "text/InternetDate.h"

namespace halcyra {
namespace {

TEST(DayInterval, IsTheLocalDayWhateverItsLength) {
  struct Case {
    const char* zone;
    const char* now;
    std::string day;
    std::string nextDay;
    std::string start;
    std::string end;
  };
  const Case cases[] = {
      {"UTC", "2026-03-05T12:00:00Z", "2026/03/05", "2026/03/06", "2026-03-05T00:00:00Z",
       "2026-03-06T00:00:00Z"},
      {"UTC", "2026-12-31T23:59:59Z", "2026/12/31", "2027/01/01", "2026-12-31T00:00:00Z",
       "2027-01-01T00:00:00Z"},
      {"Pacific/Kiritimati", "2026-03-05T12:00:00Z", "2026/03/06", "2026/03/07",
       "2026-03-05T10:00:00Z", "2026-03-06T10:00:00Z"},
      {"Asia/Kathmandu", "2026-03-05T18:15:00Z", "2026/03/06", "2026/03/07", "2026-03-05T18:15:00Z",
       "2026-03-06T18:15:00Z"},
      // Midnight comes between these two.
      {"America/Los_Angeles", "2026-03-05T07:59:59Z", "2026/03/04", "2026/03/05",
       "2026-03-04T08:00:00Z", "2026-03-05T08:00:00Z"},
      {"America/Los_Angeles", "2026-03-05T08:00:00Z", "2026/03/05", "2026/03/06",
       "2026-03-05T08:00:00Z", "2026-03-06T08:00:00Z"},
      // 23 and 25 hours, seen from both of their ends.
      {"Europe/Berlin", "2026-03-28T23:30:00Z", "2026/03/29", "2026/03/30", "2026-03-28T23:00:00Z",
       "2026-03-29T22:00:00Z"},
      {"Europe/Berlin", "2026-03-29T21:59:59Z", "2026/03/29", "2026/03/30", "2026-03-28T23:00:00Z",
       "2026-03-29T22:00:00Z"},
      {"Europe/Berlin", "2026-10-24T22:00:00Z", "2026/10/25", "2026/10/26", "2026-10-24T22:00:00Z",
       "2026-10-25T23:00:00Z"},
      {"Europe/Berlin", "2026-10-25T22:59:59Z", "2026/10/25", "2026/10/26", "2026-10-24T22:00:00Z",
       "2026-10-25T23:00:00Z"},
      // Midnight is missing.
      {"America/Sao_Paulo", "2018-11-04T15:00:00Z", "2018/11/04", "2018/11/05",
       "2018-11-04T03:00:00Z", "2018-11-05T02:00:00Z"},
      {"America/Sao_Paulo", "2018-11-03T15:00:00Z", "2018/11/03", "2018/11/04",
       "2018-11-03T03:00:00Z", "2018-11-04T03:00:00Z"},
      // Midnight comes twice.
      {"America/Havana", "2026-11-01T12:00:00Z", "2026/11/01", "2026/11/02", "2026-11-01T04:00:00Z",
       "2026-11-02T05:00:00Z"},
      // The next day was left out.
      {"Pacific/Apia", "2011-12-29T20:00:00Z", "2011/12/29", "2011/12/31", "2011-12-29T10:00:00Z",
       "2011-12-30T10:00:00Z"},
  };
  const TimeZone zone("UTC");
  for (const Case& c : cases) {
    TimeZone::set(c.zone);
    const ZonedClock clock(*parseInternetDateTime(c.now));
    const DayInterval day = currentDay(clock);
    const auto text = [](TimePoint moment) {
      return internetDateTime(std::chrono::floor<std::chrono::milliseconds>(moment));
    };
    EXPECT_EQ(text(day.start), c.start) << c.zone << c.now;
    EXPECT_EQ(text(day.end), c.end) << c.zone << c.now;
    EXPECT_EQ(slashedDate(clock, day.start), c.day) << c.zone << c.now;
    EXPECT_EQ(slashedDate(clock, day.end), c.nextDay) << c.zone << c.now;
  }
}

}  // namespace
}  // namespace halcyra

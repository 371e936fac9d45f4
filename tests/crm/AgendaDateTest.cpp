#include "crm/AgendaDate.h"

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include "support/ZonedClock.h"

namespace halcyra {
namespace {

const DateStyles british("en_GB.UTF-8");

std::string parsed(const std::string& text) {
  const auto date = readAgendaDate(text);
  EXPECT_EQ(parseAgendaDate(text).has_value(), date.has_value());
  if (!date) return "none";
  EXPECT_EQ(parseAgendaDate(text), date->moment);
  return internetDateTime(date->moment) + (date->isDateOnly ? " all day" : "");
}

TEST(AgendaDate, IsReadFromWhatTheProvidersWrite) {
  const std::string nine = "2026-11-23T09:00:00Z";
  const std::pair<std::string, std::string> cases[] = {
      {"2026-11-23T09:00:00Z", nine},
      {" \n2026-11-23T10:00:00+01:00\t", nine},
      {"2026-11-23T04:00:00.123-05:00", nine},
      {"2026-11-23T09:00:00.0000000 UTC", nine},
      {"2026-11-23T09:00:00.0000000 W. Europe Standard Time", nine},
      {"2026-11-23T09:00:00", nine},
      {"2026-11-23T10:00:00+01:00 Europe/Berlin", nine},
      {"2026-11-23", "2026-11-23T00:00:00Z all day"},
      {"2026-11-23 UTC", "2026-11-23T00:00:00Z all day"},
      {"9999-12-31T23:59:59Z", "9999-12-31T23:59:59Z"},
      {"", "none"},
      {" \n", "none"},
      {"UTC", "none"},
      {"unknown", "none"},
      {"2026-02-30", "none"},
      {"2026-11-23T25:00:00Z", "none"},
      {"2026-11-23T09:00", "none"},
      {"23.11.2026", "none"},
      {"2026-11-23ZZ", "none"},
      {"tomorrow 2026-11-23T09:00:00Z", "none"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(parsed(text), expected) << text;
}

TEST(AgendaDate, IsShownInTheUsersZoneAndWords) {
  struct Case {
    const char* zone;
    std::string text;
    std::string shown;
  };
  const Case cases[] = {
      {"UTC", "2026-11-23T09:00:00Z", "23 Nov 2026, 09:00"},
      {"Asia/Kathmandu", "2026-11-23T20:00:00.5Z", "24 Nov 2026, 01:45"},
      // Each side of both changes of clocks.
      {"Europe/Berlin", "2026-03-29T00:59:59Z", "29 Mar 2026, 01:59"},
      {"Europe/Berlin", "2026-03-29T01:00:00Z", "29 Mar 2026, 03:00"},
      {"Europe/Berlin", "2026-10-25T00:30:00Z", "25 Oct 2026, 02:30"},
      {"Europe/Berlin", "2026-10-25T01:30:00Z", "25 Oct 2026, 02:30"},
      // A date alone is that date everywhere.
      {"America/Los_Angeles", "2026-11-23", "23 Nov 2026 (all day)"},
      {"Pacific/Kiritimati", "2026-11-23", "23 Nov 2026 (all day)"},
      {"UTC", "9999-12-31", "31 Dec 9999 (all day)"},
      {"UTC", "9999-12-31T23:00:00Z", "9999-12-31T23:00:00Z"},
      // The name of a zone is not split off, nor is anything trimmed.
      {"Europe/Berlin", "2026-11-23T09:00:00.0000000 UTC", "2026-11-23T09:00:00.0000000 UTC"},
      {"Europe/Berlin", " 2026-11-23", " 2026-11-23"},
      {"Europe/Berlin", "unknown", "unknown"},
  };
  const TimeZone zone("UTC");
  for (const Case& c : cases) {
    TimeZone::set(c.zone);
    const ZonedClock clock;
    EXPECT_EQ(agendaDisplayDate(c.text, {clock, british}), c.shown) << c.zone;
  }
}

TEST(DateStyles, FollowTheLocale) {
  const LocalTime time{.year = 2026, .month = 3, .day = 5, .hour = 14, .minute = 7, .second = 59};
  struct Case {
    std::string locale;
    std::string dateAndTime;
    std::string date;
    std::string longDate;
    std::string sunday;
    std::string saturday;
  };
  const Case known[] = {
      {"en_US", "Mar 5, 2026, 2:07\u202FPM", "Mar 5, 2026", "March 5, 2026", "Sun", "Sat"},
      {"de_DE.UTF-8", "05.03.2026, 14:07", "05.03.2026", "5. März 2026", "So.", "Sa."},
      {"fr_FR@euro", "5 mars 2026, 14:07", "5 mars 2026", "5 mars 2026", "dim.", "sam."},
  };
  // The locale of messages, which is none of dates.
  const icu::Locale messages = icu::Locale::getDefault();
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::setDefault("de_DE", status);
  std::vector<Case> cases(std::begin(known), std::end(known));
  for (const std::string& name :
       {std::string("C"), std::string("C.UTF-8"), std::string("POSIX"), std::string("xx_YY"),
        std::string("@"), std::string(5000, 'a'), "de_DE_" + std::string(300, 'a')}) {
    cases.push_back({name, "Mar 5, 2026, 14:07", "Mar 5, 2026", "March 5, 2026", "Sun", "Sat"});
  }
  for (const Case& c : cases) {
    const DateStyles styles(c.locale);
    EXPECT_EQ(styles.dateAndTime(time), c.dateAndTime);
    EXPECT_EQ(styles.date(time), c.date);
    EXPECT_EQ(styles.longDate(time), c.longDate);
    EXPECT_EQ(styles.shortWeekday(1), c.sunday) << c.locale;
    EXPECT_EQ(styles.shortWeekday(7), c.saturday) << c.locale;
  }
  icu::Locale::setDefault(messages, status);
}

}  // namespace
}  // namespace halcyra

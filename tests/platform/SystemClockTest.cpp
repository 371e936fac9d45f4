#include "platform/linux/SystemClock.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/RunTask.h"
#include "support/ZonedClock.h"

namespace halcyra {
namespace {

using namespace std::chrono;
using namespace std::chrono_literals;

TimePoint at(long second) {
  return TimePoint(seconds(second));
}

TEST(SystemClock, DaysStartAtTheirFirstMoment) {
  struct Case {
    const char* zone;
    long moment;
    LocalTime local;
    long start;
  };
  const TimeZone zone("UTC");
  for (const Case& c :
       std::vector<Case>{{"UTC", 1772712000, {2026, 3, 5, 12, 0, 0}, 1772668800},
                         {"UTC", 1772668800, {2026, 3, 5, 0, 0, 0}, 1772668800},
                         {"UTC", -1, {1969, 12, 31, 23, 59, 59}, -86400},
                         // Clocks go forward at 2:00 and back at 3:00.
                         {"Europe/Berlin", 1774740600, {2026, 3, 29, 0, 30, 0}, 1774738800},
                         {"Europe/Berlin", 1774800000, {2026, 3, 29, 18, 0, 0}, 1774738800},
                         {"Europe/Berlin", 1792969199, {2026, 10, 25, 23, 59, 59}, 1792879200},
                         // Midnight does not exist: the day starts at 1:00.
                         {"America/Sao_Paulo", 1541350800, {2018, 11, 4, 15, 0, 0}, 1541300400},
                         // 0:00 to 0:59 comes twice.
                         {"America/Havana", 1793552400, {2026, 11, 1, 12, 0, 0}, 1793505600},
                         // 30 December 2011 was left out.
                         {"Pacific/Apia", 1325286000, {2011, 12, 31, 13, 0, 0}, 1325239200}}) {
    TimeZone::set(c.zone);
    SystemClock clock;
    EXPECT_EQ(clock.localTime(at(c.moment)), c.local) << c.zone;
    EXPECT_EQ(clock.startOfLocalDay(at(c.moment) + 999ms), at(c.start)) << c.zone << c.moment;
  }
}

TEST(SystemClock, SleepLastsItsTimeOrUntilAStopFromAnyThread) {
  SystemClock clock;
  const auto start = steady_clock::now();
  runTask(clock.sleep(3ms, {}));
  EXPECT_GE(steady_clock::now() - start, 3ms);

  std::stop_source stop;
  std::thread other([&] { stop.request_stop(); });
  runTask(clock.sleep(1h, stop.get_token()));
  other.join();
  runTask(clock.sleep(1h, stop.get_token()));
  EXPECT_LT(steady_clock::now() - start, 1min);
}

}  // namespace
}  // namespace halcyra

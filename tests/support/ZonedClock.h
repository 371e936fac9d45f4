#pragma once

#include <cstdlib>
#include <ctime>
#include <string>

#include "platform/linux/SystemClock.h"
#include "support/ManualClock.h"

namespace halcyra {

/// The time zone of the process, UTC again afterwards.
class TimeZone {
 public:
  explicit TimeZone(const char* name) { set(name); }
  ~TimeZone() {
    unsetenv("TZ");
    tzset();
  }
  static void set(const char* name) {
    setenv("TZ", name, 1);
    tzset();
  }
};

/// Stands at one moment in the process's time zone; a sleep takes no time and lets its own pass.
class ZonedClock : public ManualClock {
 public:
  using ManualClock::ManualClock;

  LocalTime localTime(TimePoint moment) const override { return zone_.localTime(moment); }
  TimePoint startOfLocalDay(TimePoint moment) const override {
    return zone_.startOfLocalDay(moment);
  }
  Task<void> sleep(std::chrono::milliseconds duration, std::stop_token) override {
    sleeps.push_back(duration);
    advance(duration);
    co_return;
  }

 private:
  SystemClock zone_;
};

}  // namespace halcyra

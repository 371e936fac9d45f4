#pragma once

#include <list>
#include <vector>

#include "platform/Clock.h"

namespace halcyra {

/// A clock that is turned by hand. Its time zone is UTC. For tests that run everything on one
/// thread.
class ManualClock : public Clock {
 public:
  explicit ManualClock(TimePoint start = std::chrono::sys_days(std::chrono::year(2026) / 3 / 5) +
                                         std::chrono::hours(12))
      : now_(start) {}

  TimePoint now() const override { return now_; }
  LocalTime localTime(TimePoint moment) const override;
  TimePoint startOfLocalDay(TimePoint moment) const override;
  Task<void> sleep(std::chrono::milliseconds duration, std::stop_token stop) override;

  /// Lets time pass; sleepers that are due go on when their executor runs.
  void advance(std::chrono::milliseconds duration);

  /// Every duration that was slept, in the order of the calls.
  std::vector<std::chrono::milliseconds> sleeps;

  std::size_t sleepers() const { return sleepers_.size(); }

 private:
  struct Sleeper;

  TimePoint now_;
  std::list<Sleeper*> sleepers_;
};

}  // namespace halcyra

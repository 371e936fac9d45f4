#pragma once

#include "platform/Clock.h"

namespace halcyra {

/// The system's clock and time zone; a change of the zone is noticed while the program runs. Sleeps
/// run on the executor of the sleeping task, which must run one thing at a time; the stop may be
/// requested on any thread.
class SystemClock : public Clock {
 public:
  TimePoint now() const override { return std::chrono::system_clock::now(); }
  LocalTime localTime(TimePoint moment) const override;
  TimePoint startOfLocalDay(TimePoint moment) const override;
  Task<void> sleep(std::chrono::milliseconds duration, std::stop_token stop) override;
};

}  // namespace halcyra

#pragma once

#include <chrono>
#include <stop_token>

#include "platform/Task.h"

namespace halcyra {

using TimePoint = std::chrono::system_clock::time_point;

/// A moment as the user's calendar and wall clock show it. Month and day count from 1.
struct LocalTime {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;

  bool operator==(const LocalTime&) const = default;
};

/// The time of day, the user's time zone and the only way to let time pass.
class Clock {
 public:
  virtual ~Clock() = default;

  virtual TimePoint now() const = 0;

  /// The moment in the user's time zone.
  virtual LocalTime localTime(TimePoint moment) const = 0;

  /// The first moment of the local day that holds `moment`.
  virtual TimePoint startOfLocalDay(TimePoint moment) const = 0;

  /// Ends after `duration`, or at once when a stop is requested. Never throws.
  virtual Task<void> sleep(std::chrono::milliseconds duration, std::stop_token stop) = 0;
};

}  // namespace halcyra

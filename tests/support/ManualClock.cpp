#include "support/ManualClock.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>

namespace halcyra {

struct ManualClock::Sleeper {
  TimePoint wakes;
  boost::asio::steady_timer timer;
};

LocalTime ManualClock::localTime(TimePoint moment) const {
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(std::chrono::floor<std::chrono::seconds>(moment - day));
  return {static_cast<int>(date.year()),
          static_cast<int>(static_cast<unsigned>(date.month())),
          static_cast<int>(static_cast<unsigned>(date.day())),
          static_cast<int>(time.hours().count()),
          static_cast<int>(time.minutes().count()),
          static_cast<int>(time.seconds().count())};
}

TimePoint ManualClock::startOfLocalDay(TimePoint moment) const {
  return std::chrono::floor<std::chrono::days>(moment);
}

Task<void> ManualClock::sleep(std::chrono::milliseconds duration, std::stop_token stop) {
  sleeps.push_back(duration);
  if (stop.stop_requested()) co_return;
  Sleeper sleeper{
      now_ + duration,
      {co_await boost::asio::this_coro::executor, boost::asio::steady_timer::time_point::max()}};
  const auto place = sleepers_.insert(sleepers_.end(), &sleeper);
  const std::stop_callback wake(stop, [&] { sleeper.timer.cancel(); });
  boost::system::error_code cancelled;
  co_await sleeper.timer.async_wait(
      boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
  sleepers_.erase(place);
}

void ManualClock::advance(std::chrono::milliseconds duration) {
  now_ += duration;
  for (Sleeper* sleeper : sleepers_) {
    if (sleeper->wakes <= now_) sleeper->timer.cancel();
  }
}

}  // namespace halcyra

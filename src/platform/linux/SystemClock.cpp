#include "platform/linux/SystemClock.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <ctime>
#include <memory>
#include <tuple>

namespace halcyra {
namespace {

namespace asio = boost::asio;

std::tm calendarTime(std::time_t second) {
  std::tm parts{};
  localtime_r(&second, &parts);
  return parts;
}

auto dateOf(std::time_t second) {
  const std::tm parts = calendarTime(second);
  return std::tuple(parts.tm_year, parts.tm_mon, parts.tm_mday);
}

std::time_t secondOf(TimePoint moment) {
  return std::chrono::floor<std::chrono::seconds>(moment).time_since_epoch().count();
}

}  // namespace

LocalTime SystemClock::localTime(TimePoint moment) const {
  tzset();  // localtime_r alone would keep the zone of the program's start
  const std::tm parts = calendarTime(secondOf(moment));
  return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
          parts.tm_hour,        parts.tm_min,     parts.tm_sec};
}

// Looked for by bisection rather than with mktime, because midnight may be missing or come twice on
// a day whose offset changes.
TimePoint SystemClock::startOfLocalDay(TimePoint moment) const {
  constexpr std::time_t overADay = 26 * 3600;
  tzset();
  std::time_t inside = secondOf(moment);
  std::time_t before = inside - overADay;
  const auto date = dateOf(inside);
  while (inside - before > 1) {
    const std::time_t middle = before + (inside - before) / 2;
    (dateOf(middle) == date ? inside : before) = middle;
  }
  return TimePoint(std::chrono::seconds(inside));
}

Task<void> SystemClock::sleep(std::chrono::milliseconds duration, std::stop_token stop) {
  const Executor executor = co_await asio::this_coro::executor;
  const auto timer = std::make_shared<asio::steady_timer>(executor, duration);
  const std::stop_callback wake(
      std::move(stop), [executor, timer] { asio::post(executor, [timer] { timer->cancel(); }); });
  boost::system::error_code ended;
  co_await timer->async_wait(asio::redirect_error(asio::use_awaitable, ended));
}

}  // namespace halcyra

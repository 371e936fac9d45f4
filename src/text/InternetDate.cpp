#include "text/InternetDate.h"

#include <array>
#include <cstdio>

namespace halcyra {
namespace {

using namespace std::chrono;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// Walks over a date; a step that does not fit leaves it failed.
class DateCursor {
 public:
  explicit DateCursor(std::string_view text) : rest_(text) {}

  int digits(std::size_t count) {
    int value = 0;
    for (std::size_t at = 0; at < count; ++at) value = value * 10 + digit();
    return value;
  }

  int digit() {
    if (rest_.empty() || !isDigit(rest_.front())) {
      failed_ = true;
      return 0;
    }
    const int value = rest_.front() - '0';
    rest_.remove_prefix(1);
    return value;
  }

  bool nextIs(char c) {
    if (rest_.empty() || rest_.front() != c) return false;
    rest_.remove_prefix(1);
    return true;
  }

  void expect(char c) { failed_ |= !nextIs(c); }
  void fail() { failed_ = true; }
  bool atDigit() const { return !rest_.empty() && isDigit(rest_.front()); }
  bool read() const { return !failed_ && rest_.empty(); }

 private:
  std::string_view rest_;
  bool failed_ = false;
};

// time-secfrac: at least one digit.
milliseconds fraction(DateCursor& cursor) {
  if (!cursor.nextIs('.')) return {};
  int value = cursor.digit() * 100;
  for (int weight = 10; cursor.atDigit(); weight /= 10) value += cursor.digit() * weight;
  return milliseconds(value);
}

// time-offset: "Z" or hours and minutes.
minutes offset(DateCursor& cursor) {
  if (cursor.nextIs('Z')) return {};
  const bool west = cursor.nextIs('-');
  if (!west) cursor.expect('+');
  const int hour = cursor.digits(2);
  cursor.expect(':');
  const int minute = cursor.digits(2);
  if (hour > 23 || minute > 59) cursor.fail();
  const minutes east = hours(hour) + minutes(minute);
  return west ? -east : east;
}

}  // namespace

std::string internetDateTime(InternetMoment moment) {
  const sys_days day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss time(floor<seconds>(moment - day));
  std::array<char, 48> text;
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
  return text.data();
}

std::optional<InternetMoment> parseInternetDateTime(std::string_view text) {
  DateCursor cursor(text);
  const year date(cursor.digits(4));
  cursor.expect('-');
  const month inYear(static_cast<unsigned>(cursor.digits(2)));
  cursor.expect('-');
  const year_month_day day = date / inYear / cursor.digits(2);
  cursor.expect('T');
  const int hour = cursor.digits(2);
  cursor.expect(':');
  const int minute = cursor.digits(2);
  cursor.expect(':');
  const int second = cursor.digits(2);
  const milliseconds part = fraction(cursor);
  const minutes east = offset(cursor);
  const bool inRange = day.ok() && hour < 24 && minute < 60 && second <= 60;  // a leap second
  if (!cursor.read() || !inRange) return std::nullopt;
  return sys_days(day) + hours(hour) + minutes(minute) + seconds(second) + part - east;
}

}  // namespace halcyra

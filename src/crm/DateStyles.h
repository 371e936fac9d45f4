#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "platform/Clock.h"

namespace halcyra {

/// Dates and times in the words of a locale. Any thread may call. The words are loaded with the
/// first call, which throws std::runtime_error when the library of locales has none.
class DateStyles {
 public:
  /// `locale` as in "de_DE" or "de_DE.UTF-8"; one whose language is not known counts as "C".
  explicit DateStyles(const std::string& locale);
  ~DateStyles();

  /// Medium date and short time, "Mar 5, 2026, 2:30 PM".
  std::string dateAndTime(const LocalTime& time) const;
  /// Medium, "Mar 5, 2026".
  std::string date(const LocalTime& time) const;
  /// "March 5, 2026".
  std::string longDate(const LocalTime& time) const;
  /// "Sun" for 1 to "Sat" for 7.
  std::string shortWeekday(int weekday) const;

 private:
  struct Formatters;
  const Formatters& formatters() const;

  const std::string locale_;
  mutable std::once_flag loaded_;
  mutable std::unique_ptr<const Formatters> formatters_;
};

/// Those of the user's locale for dates, from the environment of the program's start.
const DateStyles& userDateStyles();

}  // namespace halcyra

#include "crm/DateStyles.h"

#include <unicode/datefmt.h>
#include <unicode/dtfmtsym.h>
#include <unicode/timezone.h>
#include <unicode/uloc.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace halcyra {
namespace {

using icu::DateFormat;

// Wall clock times are handed in, so that the zone is the clock's business alone.
std::unique_ptr<const DateFormat> inUTC(DateFormat* format) {
  if (format == nullptr) throw std::runtime_error("The formats of dates cannot be loaded.");
  format->adoptTimeZone(icu::TimeZone::getGMT()->clone());
  return std::unique_ptr<const DateFormat>(format);
}

std::string formatted(const DateFormat& format, const LocalTime& time) {
  using namespace std::chrono;
  const sys_days day = year(time.year) / time.month / time.day;
  const milliseconds moment = (day + hours(time.hour) + minutes(time.minute)).time_since_epoch();
  icu::UnicodeString text;
  format.format(static_cast<UDate>(moment.count()), text);
  std::string utf8;
  return text.toUTF8String(utf8);
}

// POSIX: the first of these that is set names the locale of dates.
std::string localeOfDates() {
  for (const char* name : {"LC_ALL", "LC_TIME", "LANG"}) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return value;
  }
  return "C";
}

bool isKnownLanguage(std::string_view language) {
  for (int at = 0; at < uloc_countAvailable(); ++at) {
    const std::string_view known = uloc_getAvailable(at);
    if (known.substr(0, known.find('_')) == language) return true;
  }
  return false;
}

// For a name without words of its own the library would take the locale that messages are in, or
// fail; dates in "C" stay English beside German messages.
icu::Locale localeNamed(const std::string& name) {
  const icu::Locale locale = icu::Locale::createCanonical(name.c_str());
  // English without a country: hours to 24, as "C" has them.
  const bool isKnown =
      name.size() < ULOC_FULLNAME_CAPACITY && isKnownLanguage(locale.getLanguage());
  return isKnown ? locale : icu::Locale("en_ZZ");
}

std::array<std::string, 8> shortWeekdays(const icu::Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::DateFormatSymbols symbols(locale, status);
  if (U_FAILURE(status)) throw std::runtime_error("The names of weekdays cannot be loaded.");
  int count = 0;
  const icu::UnicodeString* names = symbols.getShortWeekdays(count);  // the first is empty
  std::array<std::string, 8> texts;
  for (int day = 1; day < count && day < 8; ++day) {
    names[day].toUTF8String(texts[static_cast<std::size_t>(day)]);
  }
  return texts;
}

}  // namespace

struct DateStyles::Formatters {
  explicit Formatters(const icu::Locale& locale)
      : dateAndTime(inUTC(
            DateFormat::createDateTimeInstance(DateFormat::kMedium, DateFormat::kShort, locale))),
        date(inUTC(DateFormat::createDateInstance(DateFormat::kMedium, locale))),
        longDate(inUTC(DateFormat::createDateInstance(DateFormat::kLong, locale))),
        weekdays(shortWeekdays(locale)) {}

  std::unique_ptr<const DateFormat> dateAndTime;
  std::unique_ptr<const DateFormat> date;
  std::unique_ptr<const DateFormat> longDate;
  std::array<std::string, 8> weekdays;
};

DateStyles::DateStyles(const std::string& locale) : locale_(locale) {}

DateStyles::~DateStyles() = default;

const DateStyles::Formatters& DateStyles::formatters() const {
  std::call_once(
      loaded_, [this] { formatters_ = std::make_unique<const Formatters>(localeNamed(locale_)); });
  return *formatters_;
}

std::string DateStyles::dateAndTime(const LocalTime& time) const {
  return formatted(*formatters().dateAndTime, time);
}

std::string DateStyles::date(const LocalTime& time) const {
  return formatted(*formatters().date, time);
}

std::string DateStyles::longDate(const LocalTime& time) const {
  return formatted(*formatters().longDate, time);
}

std::string DateStyles::shortWeekday(int weekday) const {
  return formatters().weekdays.at(static_cast<std::size_t>(weekday));
}

const DateStyles& userDateStyles() {
  static const DateStyles styles(localeOfDates());
  return styles;
}

}  // namespace halcyra

#include "crm/AgendaDate.h"

#include "text/Trim.h"

namespace halcyra {
namespace {

using namespace std::chrono;

std::optional<AgendaDate> exactDate(const std::string& text) {
  for (const char* offset : {"", "Z"}) {
    if (const auto moment = parseInternetDateTime(text + offset)) return AgendaDate{*moment, false};
  }
  if (const auto midnight = parseInternetDateTime(text + "T00:00:00Z")) {
    return AgendaDate{*midnight, true};
  }
  return std::nullopt;
}

LocalTime dateInUTC(InternetMoment moment) {
  const year_month_day date(floor<days>(moment));
  return {.year = static_cast<int>(date.year()),
          .month = static_cast<int>(static_cast<unsigned>(date.month())),
          .day = static_cast<int>(static_cast<unsigned>(date.day()))};
}

// Clocks count in finer ticks, which reach less far.
bool isInReachOfClocks(InternetMoment moment) {
  return moment >= sys_days(year(1700) / 1 / 1) && moment < sys_days(year(2200) / 1 / 1);
}

}  // namespace

std::optional<AgendaDate> readAgendaDate(std::string_view text) {
  text = trimmed(text);
  return exactDate(std::string(text.substr(0, text.find(' '))));
}

std::optional<InternetMoment> parseAgendaDate(std::string_view text) {
  const auto date = readAgendaDate(text);
  if (!date) return std::nullopt;
  return date->moment;
}

std::string agendaDateText(const AgendaDate& date, const UserCalendar& calendar) {
  if (date.isDateOnly) return calendar.styles.date(dateInUTC(date.moment)) + " (all day)";
  if (!isInReachOfClocks(date.moment)) return internetDateTime(date.moment);
  return calendar.styles.dateAndTime(calendar.clock.localTime(date.moment));
}

std::string agendaDisplayDate(std::string_view text, const UserCalendar& calendar) {
  const auto date = exactDate(std::string(text));
  return date ? agendaDateText(*date, calendar) : std::string(text);
}

}  // namespace halcyra

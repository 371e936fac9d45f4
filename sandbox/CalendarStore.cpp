#include "sandbox/CalendarStore.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace halcyra::sandbox {

CalendarStore::CalendarStore(std::string firstId) {
  addCalendar(std::move(firstId));
}

void CalendarStore::addCalendar(std::string id) {
  calendars_.push_back({std::move(id), {}});
}

void CalendarStore::addEvent(std::string_view calendarId, CalendarEvent event) {
  const auto calendar = std::ranges::find(calendars_, calendarId, &Calendar::id);
  if (calendar == calendars_.end()) throw std::out_of_range("no such calendar");
  event.id = "event+" + std::to_string(++events_) + "/=";
  calendar->events.push_back(std::move(event));
}

std::vector<std::string> CalendarStore::ids() const {
  std::vector<std::string> ids;
  for (const Calendar& calendar : calendars_) ids.push_back(calendar.id);
  return ids;
}

std::optional<std::vector<CalendarEvent>> CalendarStore::between(std::string_view calendarId,
                                                                 InternetMoment start,
                                                                 InternetMoment end) const {
  const auto calendar = std::ranges::find(calendars_, calendarId, &Calendar::id);
  if (calendar == calendars_.end()) return std::nullopt;
  std::vector<CalendarEvent> found;
  std::ranges::copy_if(
      calendar->events, std::back_inserter(found),
      [&](const CalendarEvent& event) { return event.end > start && event.start < end; });
  std::ranges::stable_sort(found, {}, &CalendarEvent::start);
  return found;
}

std::optional<std::size_t> boundedNumber(const std::string& text, std::size_t absent,
                                         std::size_t most) {
  if (text.empty()) return absent;
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isWhole = error == std::errc() && end == text.data() + text.size();
  if (!isWhole || number < 1 || number > most) return std::nullopt;
  return number;
}

}  // namespace halcyra::sandbox

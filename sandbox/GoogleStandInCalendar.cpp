// The Google Calendar API's part of the stand-in.
#include <algorithm>

#include "sandbox/GoogleStandIn.h"
#include "sandbox/JsonAnswer.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

HttpResponse badRequest(std::string_view message) {
  return googleError(400, "INVALID_ARGUMENT", "badRequest", message);
}

json timeJson(InternetMoment moment, bool isAllDay) {
  const std::string text = internetDateTime(moment);
  if (isAllDay) return {{"date", text.substr(0, 10)}};
  return {{"dateTime", text}, {"timeZone", "UTC"}};
}

json eventJson(const CalendarEvent& event) {
  return {{"kind", "calendar#event"},
          {"id", event.id},
          {"status", "confirmed"},
          {"summary", event.title},
          {"description", "<p>Agenda:</p><ul><li>" + event.title + "</li></ul>"},
          {"start", timeJson(event.start, event.isAllDay)},
          {"end", timeJson(event.end, event.isAllDay)}};
}

/// One page of a list as the query asks for it; tokens are positions. Nothing for a bad query.
struct Page {
  std::size_t first = 0;
  std::size_t end = 0;
  std::optional<std::string> next;
};

std::optional<Page> pageOf(const RequestTarget& target, std::size_t count, std::size_t usual,
                           std::size_t most) {
  const auto size = boundedNumber(itemOf(target.query, "maxResults"), usual, most);
  const std::string token = itemOf(target.query, "pageToken");
  const auto first = token.empty() ? 0 : boundedNumber(token, 0, count);
  if (!size || !first) return std::nullopt;
  Page page{*first, std::min(*first + *size, count), {}};
  if (page.end < count) page.next = std::to_string(page.end);
  return page;
}

json listJson(const char* kind, json items, const Page& page) {
  json list = {{"kind", kind}, {"items", std::move(items)}};
  if (page.next) list["nextPageToken"] = *page.next;
  return list;
}

}  // namespace

HttpResponse GoogleStandIn::listCalendars(const ServedRequest&, const RequestTarget& target) {
  const std::vector<std::string> ids = calendars_.ids();
  const auto page = pageOf(target, ids.size(), 100, 250);
  if (!page) return badRequest("Bad Request");
  json items = json::array();
  for (std::size_t index = page->first; index < page->end; ++index) {
    items.push_back({{"kind", "calendar#calendarListEntry"},
                     {"id", ids[index]},
                     {"summary", ids[index]},
                     {"primary", index == 0},
                     {"accessRole", "owner"}});
  }
  return jsonAnswer(200, listJson("calendar#calendarList", std::move(items), *page));
}

HttpResponse GoogleStandIn::listEvents(const ServedRequest&, const RequestTarget& target) {
  const auto item = [&](const char* name) { return itemOf(target.query, name); };
  const auto start = parseInternetDateTime(item("timeMin"));
  const auto end = parseInternetDateTime(item("timeMax"));
  if (!start || !end) return badRequest("Bad Request");
  if (*end <= *start) return badRequest("The specified time range is empty.");
  if (item("orderBy") == "startTime" && item("singleEvents") != "true") {
    return badRequest("The requested ordering is not available for the particular query.");
  }
  const std::string& named = target.segments[3];
  const auto events =
      calendars_.between(named == "primary" ? calendars_.ids().front() : named, *start, *end);
  if (!events) return googleError(404, "NOT_FOUND", "notFound", "Not Found");
  const auto page = pageOf(target, events->size(), 250, 2500);
  if (!page) return badRequest("Bad Request");
  json items = json::array();
  for (std::size_t index = page->first; index < page->end; ++index) {
    items.push_back(eventJson((*events)[index]));
  }
  return jsonAnswer(200, listJson("calendar#events", std::move(items), *page));
}

void GoogleStandIn::addCalendar(std::string id) {
  const std::lock_guard guard(lock_);
  calendars_.addCalendar(std::move(id));
}

void GoogleStandIn::addEvent(CalendarEvent event, const std::string& calendarId) {
  const std::lock_guard guard(lock_);
  calendars_.addEvent(calendarId.empty() ? calendars_.ids().front() : calendarId, std::move(event));
}

}  // namespace halcyra::sandbox

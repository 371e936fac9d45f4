// The calendar part of the stand-in.
#include <algorithm>

#include "sandbox/JsonAnswer.h"
#include "sandbox/MicrosoftStandIn.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

HttpResponse invalidParameter(std::string_view message) {
  return graphError(400, "ErrorInvalidParameter", message);
}

// Without an offset, and with the name of the zone beside it.
json timeJson(InternetMoment moment) {
  std::string text = internetDateTime(moment);
  text.replace(text.size() - 1, 1, ".0000000");
  return {{"dateTime", text}, {"timeZone", "UTC"}};
}

json eventJson(const CalendarEvent& event) {
  return {
      {"id", event.id},
      {"subject", event.title},
      {"isAllDay", event.isAllDay},
      {"body", {{"contentType", "html"}, {"content", "<html><p>" + event.title + "</p></html>"}}},
      {"start", timeJson(event.start)},
      {"end", timeJson(event.end)}};
}

// The properties that a $select names, or all; nothing when it names one that there is not.
std::optional<json> selected(const json& resource, const std::string& select) {
  if (select.empty()) return resource;
  json result = json::object();
  for (std::size_t from = 0; from <= select.size();) {
    const std::size_t comma = std::min(select.find(',', from), select.size());
    const std::string name = select.substr(from, comma - from);
    if (!resource.contains(name)) return std::nullopt;
    result[name] = resource[name];
    from = comma + 1;
  }
  return result;
}

HttpResponse pageAnswer(const std::vector<json>& resources, const RequestTarget& target) {
  const auto top = boundedNumber(itemOf(target.query, "$top"), 10, 1000);
  if (!top) return invalidParameter("The $top query option is invalid.");
  json value = json::array();
  for (const json& resource : resources) {
    if (value.size() == *top) break;
    auto chosen = selected(resource, itemOf(target.query, "$select"));
    if (!chosen) return invalidParameter("Could not find a property named in $select.");
    value.push_back(std::move(*chosen));
  }
  json answer = {{"value", std::move(value)}};
  if (resources.size() > *top) answer["@odata.nextLink"] = "https://graph.microsoft.com/v1.0/more";
  return jsonAnswer(200, answer);
}

}  // namespace

HttpResponse MicrosoftStandIn::listCalendars(const ServedRequest&, const RequestTarget& target) {
  std::vector<json> resources;
  for (const std::string& id : calendars_.ids()) {
    resources.push_back({{"id", id}, {"name", id}, {"isDefaultCalendar", resources.empty()}});
  }
  return pageAnswer(resources, target);
}

HttpResponse MicrosoftStandIn::viewCalendar(const ServedRequest&, const RequestTarget& target) {
  const auto start = parseInternetDateTime(itemOf(target.query, "startDateTime"));
  const auto end = parseInternetDateTime(itemOf(target.query, "endDateTime"));
  if (!start || !end) {
    return invalidParameter(
        "This request requires a time window specified by the query string parameters "
        "StartDateTime and EndDateTime.");
  }
  const std::string order = itemOf(target.query, "$orderby");
  if (!order.empty() && order != "start/dateTime")
    return invalidParameter("The $orderby is invalid.");
  const bool isDefault = target.segments[2] == "calendarView";
  const auto events =
      calendars_.between(isDefault ? calendars_.ids().front() : target.segments[3], *start, *end);
  if (!events) return graphError(404, "ErrorItemNotFound", "The specified object was not found.");
  std::vector<json> resources;
  for (const CalendarEvent& event : *events) resources.push_back(eventJson(event));
  return pageAnswer(resources, target);
}

void MicrosoftStandIn::addCalendar(std::string id) {
  const std::lock_guard guard(lock_);
  calendars_.addCalendar(std::move(id));
}

void MicrosoftStandIn::addEvent(CalendarEvent event, const std::string& calendarId) {
  const std::lock_guard guard(lock_);
  calendars_.addEvent(calendarId.empty() ? calendars_.ids().front() : calendarId, std::move(event));
}

}  // namespace halcyra::sandbox

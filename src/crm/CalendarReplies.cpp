#include "crm/CalendarReplies.h"

#include "text/Graphemes.h"
#include "text/Json.h"
#include "text/JsonFields.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

using nlohmann::json;

constexpr std::size_t longestEventTitle = 2000;  // bytes, as the others
constexpr std::size_t longestTime = 200;
constexpr std::size_t longestId = 2000;

std::string kept(std::string text, std::size_t most) {
  if (text.size() > most) text.resize(codePointStart(text, most));
  return text;
}

std::string titleOf(const json& item, std::string_view key) {
  const std::string text = textField(item, key).value_or("");
  const std::string_view title = trimmed(text);
  return title.empty() ? "(untitled)" : kept(std::string(title), longestEventTitle);
}

std::string keptTime(const std::string& text) {
  return text.empty() ? "unknown" : kept(text, longestTime);
}

std::string googleTime(const json& item, std::string_view key) {
  const json* time = objectField(item, key);
  if (time == nullptr) return keptTime({});
  const std::string dateTime = textField(*time, "dateTime").value_or("");
  const std::string date = textField(*time, "date").value_or("");
  return keptTime(dateTime.empty() ? date : dateTime);
}

std::string microsoftTime(const json& item, std::string_view key) {
  const json* time = objectField(item, key);
  if (time == nullptr) return keptTime({});
  std::string text = textField(*time, "dateTime").value_or("");
  const std::string zone = textField(*time, "timeZone").value_or("");
  if (!text.empty() && !zone.empty()) text += ' ';
  return keptTime(text + zone);
}

struct EventKeys {
  std::string_view list;
  std::string_view title;
  std::string (*time)(const json& item, std::string_view key);
};

std::vector<AgendaEvent> eventsIn(std::string_view body, const EventKeys& keys,
                                  const std::string& calendarKey, std::size_t most) {
  std::vector<AgendaEvent> events;
  const json document = parseJson(body);
  for (const json& item : arrayField(document, keys.list)) {
    if (events.size() == most) break;
    AgendaEvent& event = events.emplace_back();
    event.title = titleOf(item, keys.title);
    event.start = keys.time(item, "start");
    event.end = keys.time(item, "end");
    if (const auto id = textField(item, "id")) {
      event.dedupeKey = calendarKey + "|" + kept(*id, longestId);
    }
  }
  return events;
}

// Lenient, since nobody promises what an error looks like.
json errorIn(std::string_view body) {
  try {
    const json document = parseJson(body);
    if (document.is_object() && document.contains("error")) return document["error"];
  } catch (const JsonError&) {
    // A page of somebody in between, for instance.
  }
  return nullptr;
}

std::optional<std::string> firstErrorMessage(const json& error) {
  if (!error.is_object() || !error.contains("errors")) return std::nullopt;
  const json& errors = error["errors"];
  if (!errors.is_array() || errors.empty()) return std::nullopt;
  return wordsIn(errors.front(), "message");
}

}  // namespace

GoogleCalendarList googleCalendarList(std::string_view body) {
  const json document = parseJson(body);
  auto ids = readArray(document, "items", [](const json& calendar) {
    return std::string(trimmed(textField(calendar, "id").value_or("")));
  });
  std::erase(ids, std::string());
  auto next = textField(document, "nextPageToken");
  if (next && next->empty()) next.reset();
  return {std::move(ids), std::move(next)};
}

std::vector<MicrosoftCalendar> microsoftCalendars(std::string_view body) {
  return readArray(parseJson(body), "value", [](const json& calendar) {
    return MicrosoftCalendar{textField(calendar, "id"), flagField(calendar, "isDefaultCalendar")};
  });
}

std::vector<AgendaEvent> googleEvents(std::string_view body, const std::string& calendarKey,
                                      std::size_t most) {
  return eventsIn(body, {"items", "summary", googleTime}, calendarKey, most);
}

std::vector<AgendaEvent> microsoftEvents(std::string_view body, const std::string& calendarKey,
                                         std::size_t most) {
  return eventsIn(body, {"value", "subject", microsoftTime}, calendarKey, most);
}

std::string calendarErrorDetail(int status, std::string_view body) {
  constexpr std::size_t longest = 320;
  const json error = errorIn(body);
  if (auto message = wordsIn(error, "message")) return std::move(*message);
  if (auto message = firstErrorMessage(error)) return std::move(*message);
  const std::string http = "HTTP " + std::to_string(status);
  if (error.is_object() && error.contains("code") && error["code"].is_string()) {
    return "Request failed (" + error["code"].get<std::string>() + ", " + http + ").";
  }
  if (const std::string_view text = trimmed(body); !text.empty()) {
    if (!hasMoreGraphemesThan(text, longest)) return std::string(text);
    return std::string(graphemePrefix(text, longest)) + "…";
  }
  return http +
         ". Enable Calendar API for Google Cloud (or check Graph permissions for Microsoft) and "
         "re-sign the mailbox if scopes changed.";
}

}  // namespace halcyra

#include "crm/CalendarService.h"

#include <gtest/gtest.h>

#include "crm/AgendaMerge.h"
#include "platform/ProviderError.h"
#include "support/FailureText.h"
#include "support/RunTask.h"
#include "support/ScriptedHttp.h"
#include "support/WireText.h"
#include "text/InternetDate.h"
#include "text/Json.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using Events = std::vector<AgendaEvent>;
using Texts = std::vector<std::string>;

enum class Provider { google, microsoft };

const TimePoint from = *parseInternetDateTime("2026-03-01T07:00:00Z");

struct Calendars {
  ScriptedHttp http;
  CalendarService service{http, Endpoints{.google = "https://g", .graph = "https://m"}};

  Events events(Provider provider, bool all, int most = 80) {
    return runTask(provider == Provider::google
                       ? service.upcomingGoogleEvents("sEcReT", most, from, all)
                       : service.upcomingMicrosoftEvents("sEcReT", most, from, all));
  }
  Calendars& answer(const json& body) {
    http.answer(200, body.dump());
    return *this;
  }
  // The addresses without what all have in common.
  Texts paths() const {
    Texts found;
    for (const HttpRequest& request : http.requests) {
      EXPECT_EQ(wireText(request), "GET " + request.url + "\nAuthorization: Bearer sEcReT\n\n");
      EXPECT_EQ(request.timeout, 60s);
      found.push_back(request.url.substr(9));
    }
    return found;
  }
};

json ids(const Texts& texts) {
  json list = json::array();
  for (const std::string& text : texts) list.push_back({{"id", text}});
  return list;
}

Texts titles(const Events& events) {
  Texts found;
  for (const AgendaEvent& event : events) found.push_back(event.title);
  return found;
}

std::string googlePath(const std::string& id, int limit) {
  return "/calendar/v3/calendars/" + id +
         "/events?singleEvents=true&orderBy=startTime&timeMin=2026-03-01T07%3A00%3A00Z&timeMax="
         "2026-03-29T07%3A00%3A00Z&maxResults=" +
         std::to_string(limit);
}

std::string microsoftPath(const std::string& path, int limit) {
  return "/v1.0/me/" + path +
         "?startDateTime=2026-03-01T07:00:00Z&endDateTime=2026-03-29T07:00:00Z&$orderby=start%"
         "2FdateTime&$top=" +
         std::to_string(limit) + "&$select=id,subject,start,end";
}

TEST(CalendarService, AsksForTheCalendarsInTheirOrder) {
  const std::string googleList = "/calendar/v3/users/me/calendarList?maxResults=100";
  const std::string microsoftList = "/v1.0/me/calendars?$select=id,isDefaultCalendar&$top=50";
  const auto g = [](const char* id, int limit = 80) { return "\n" + googlePath(id, limit); };
  const auto m = [](const char* path, int limit) { return "\n" + microsoftPath(path, limit); };
  struct Case {
    Provider provider;
    const char* list;  // none where all calendars are not asked for
    std::string paths;
  };
  const Provider google = Provider::google;
  const Provider microsoft = Provider::microsoft;
  const Case cases[] = {
      {google, "", g("primary").substr(1)},
      {microsoft, "", m("calendarView", 80).substr(1)},
      {google, "{}", googleList + g("primary")},
      {microsoft, R"({"value":null})", microsoftList + m("calendarView", 80)},
      {google, R"({"items":[{"id":" a#b/c@x "},{"id":""},{},{"id":"a#b/c@x"},{"id":"A"}]})",
       googleList + g("a%23b%2Fc@x", 100) + g("A", 100)},
      {google, R"({"items":[{"id":"a"},{"id":"primary"}]})",
       googleList + g("primary") + g("a") + g("primary")},
      {google, R"({"items":[{"id":"primary"},{"id":"a"}]})",
       googleList + g("primary", 100) + g("a", 100)},
      {microsoft, R"({"value":[{"id":"b","isDefaultCalendar":true},{"id":""},{},{"id":"A/ ="}]})",
       microsoftList + m("calendars/A%2F%20=/calendarView", 100) +
           m("calendars/b/calendarView", 100)},
  };
  for (const Case& c : cases) {
    Calendars calendars;
    const bool all = *c.list != '\0';
    if (all) calendars.http.answer(200, c.list);
    for (int i = std::ranges::count(c.paths, '\n') + !all; i > 0; --i) {
      calendars.answer(json::object());
    }
    EXPECT_EQ(calendars.events(c.provider, all), Events());
    std::string paths;
    for (const std::string& path : calendars.paths()) paths += (paths.empty() ? "" : "\n") + path;
    EXPECT_EQ(paths, c.paths);
  }
}

TEST(CalendarService, SharesTheLimitAmongTheCalendars) {
  const std::tuple<int, int, int> cases[] = {{80, 1, 100}, {80, 2, 100}, {80, 7, 34}, {80, 25, 20},
                                             {8, 1, 24},   {8, 2, 20},   {80, 40, 20}};
  for (const auto& [most, count, limit] : cases) {
    Texts names;
    for (int i = 0; i < count; ++i) names.push_back(std::to_string(100 + i));
    for (const Provider provider : {Provider::google, Provider::microsoft}) {
      Calendars calendars;
      calendars.answer({{"items", ids(names)}, {"value", ids(names)}});
      for (int i = 0; i < std::min(count, 25); ++i) calendars.answer(json::object());
      calendars.events(provider, true, most);
      const std::string id = names[static_cast<std::size_t>(std::min(count, 25)) - 1];
      EXPECT_EQ(calendars.paths().back(),
                provider == Provider::google
                    ? googlePath(id, limit)
                    : microsoftPath("calendars/" + id + "/calendarView", limit));
    }
  }
}

TEST(CalendarService, AListThatNeverEndsIsLeftAfterAWhile) {
  const auto pagesRead = [](const auto& page) {
    Calendars calendars;
    for (int i = 0; i < 60; ++i) calendars.answer(page(i));
    calendars.events(Provider::google, true);
    const Texts paths = calendars.paths();
    const std::string next = "/calendar/v3/users/me/calendarList?maxResults=100&pageToken=more%2F1";
    return 1 + std::ranges::count(paths, next);
  };
  const auto endless = [](json items) {
    return json{{"items", std::move(items)}, {"nextPageToken", "more/1"}};
  };
  EXPECT_EQ(pagesRead([&](int i) { return endless(ids({"a" + std::to_string(i), "b"})); }), 24);
  EXPECT_EQ(pagesRead([&](int) { return endless(ids({"a"})); }), 25);
  EXPECT_EQ(pagesRead([&](int) { return endless(nullptr); }), 25);
  EXPECT_EQ(pagesRead([&](int i) {
              return i == 2 ? json{{"nextPageToken", ""}} : endless(ids({"a"}));
            }),
            3);
}

AgendaEvent event(std::string title, std::string start, std::string end = "unknown",
                  std::optional<std::string> key = {}) {
  return {std::move(title), std::move(start), std::move(end), std::move(key)};
}

TEST(CalendarService, ReadsEventsAsTheyAreWritten) {
  const auto read = [](Provider provider, const std::string& body) {
    Calendars calendars;
    calendars.http.answer(200, body);
    return calendars.events(provider, false);
  };
  EXPECT_EQ(read(Provider::google, R"({"items":[
          {"id":"1","summary":" Stand-up\n","description":"<p>Hi</p>","attendees":[{}],
           "start":{"dateTime":"2026-03-02T09:00:00+01:00","date":"no"},
           "end":{"dateTime":"","date":"2026-03-03"}},
          {"id":"","summary":" ","start":{"date":"2026-03-04"},"end":{}},
          {"summary":null,"start":null},{}]})"),
            (Events{event("Stand-up", "2026-03-02T09:00:00+01:00", "2026-03-03", "primary|1"),
                    event("(untitled)", "2026-03-04", "unknown", "primary|"),
                    event("(untitled)", "unknown"), event("(untitled)", "unknown")}));
  EXPECT_EQ(read(Provider::microsoft, R"({"value":[
          {"id":"1","subject":" Stand-up ","body":{"content":"<html>"},"end":{"timeZone":"UTC"},
           "start":{"dateTime":"2026-03-02T09:00:00.0000000","timeZone":"UTC"}},
          {"start":{"dateTime":"2026-03-02T09:00:00"},"end":{"dateTime":null,"timeZone":""}}]})"),
            (Events{event("Stand-up", "2026-03-02T09:00:00.0000000 UTC", "UTC", "default|1"),
                    event("(untitled)", "2026-03-02T09:00:00")}));
  const std::string longTitle(5000, 'x');
  EXPECT_EQ(read(Provider::google, R"({"items":[{"summary":")" + longTitle + R"("}]})"),
            Events{event(longTitle.substr(0, 2000), "unknown")});
  json thousands = json::array();
  for (int i = 0; i < 5000; ++i) thousands.push_back({{"summary", std::to_string(i)}});
  const Events kept = Calendars().answer({{"items", thousands}}).events(Provider::google, false);
  ASSERT_EQ(kept.size(), 80u);
  EXPECT_EQ(kept.back().title, "79");
  for (const char* body :
       {"", "<html>", "[]", R"({"items":{}})", R"({"items":[5]})", R"({"items":[{"id":5}]})",
        R"({"items":[{"summary":[]}]})", R"({"items":[{"start":"2026-03-02"}]})",
        R"({"items":[{"end":{"date":20260302}}]})"}) {
    EXPECT_THROW(read(Provider::google, body), JsonError) << body;
  }
}

TEST(AgendaMerge, KeepsTheFirstOfEachKeyInOrderOfStart) {
  const Events events = {
      event("late", "9999-01-01"),
      event("b", "someday"),
      event("nine", "2026-03-02T10:00:00+01:00"),
      event("unknown", "unknown"),
      event("a", "no date"),
      event("shared", "2026-03-02T08:00:00.0000000 UTC", "e", "x|1"),
      event("again", "2026-03-02T07:00:00Z", "e", "x|1"),
      event("shared", "2026-03-02T08:00:00.0000000 UTC", "e", "y|1"),
      event("day", "2026-03-02"),
      event("day", "2026-03-02"),
      event("day", "2026-03-02", "other end"),
      event("NINE", "2026-03-02T09:00:00Z"),
      event("evening", "2026-03-01T23:59:59Z"),
  };
  const Texts order = {"evening", "day",  "day", "shared", "shared", "NINE",
                       "nine",    "late", "a",   "b",      "unknown"};
  EXPECT_EQ(titles(mergedAgenda(events, 80)), order);
  EXPECT_EQ(titles(mergedAgenda(events, 2)), (Texts{"evening", "day"}));
  EXPECT_EQ(mergedAgenda(events, 80)[1].end, "unknown");
}

TEST(CalendarService, OneFailingCalendarHidesNoOther) {
  const auto events = [](const char* key, const char* title, const char* start) {
    const json time = {{"dateTime", start}};
    const json event = {{"id", "1"}, {"summary", title}, {"subject", title}, {"start", time}};
    return json{{key, json::array({event})}};
  };
  for (const Provider provider : {Provider::google, Provider::microsoft}) {
    const char* key = provider == Provider::google ? "items" : "value";
    Calendars calendars;
    calendars.answer({{key, ids({"a", "b", "c", "d", "e"})}});
    calendars.answer(events(key, "late", "2026-03-03T09:00:00Z"));
    calendars.http.answer(403, "").answer(200, "<html>");
    calendars.http.fail({HttpError::Kind::transport, "lost"});
    calendars.answer(events(key, "early", "2026-03-02T09:00:00Z"));
    EXPECT_EQ(titles(calendars.events(provider, true)), (Texts{"early", "late"}));

    Calendars allFail;
    allFail.answer({{key, ids({"a", "b"})}});
    allFail.http.answer(500, "").answer(403, "");
    EXPECT_EQ(allFail.events(provider, true), Events());

    Calendars noList;
    noList.http.answer(403, "");
    EXPECT_THROW(noList.events(provider, true), ProviderError);
    Calendars emptyList;
    emptyList.answer({{key, json::array()}}).http.answer(403, "");
    EXPECT_THROW(emptyList.events(provider, true), ProviderError);
    // Read alone, an agenda stays in the provider's order.
    json twice = events(key, "late", "2026-03-03T09:00:00Z");
    twice[key].push_back(events(key, "early", "2026-03-02T09:00:00Z")[key][0]);
    EXPECT_EQ(titles(Calendars().answer(twice).events(provider, false)), (Texts{"late", "early"}));
  }
}

TEST(CalendarService, SaysWhatIsRefused) {
  const std::string advice =
      "HTTP 403. Enable Calendar API for Google Cloud (or check Graph permissions for Microsoft) "
      "and re-sign the mailbox if scopes changed.";
  const std::pair<std::string, std::string> details[] = {
      {R"({"error":{"message":"No","code":"X","errors":[{"message":"First"}]}})", "No"},
      {R"({"error":{"message":"","errors":[{"message":"First"},{}]}})", "First"},
      {R"({"error":{"message":5,"errors":[{"message":""}],"code":"X"}})",
       "Request failed (X, HTTP 403)."},
      {R"({"error":{"code":403}})", R"({"error":{"code":403}})"},
      {R"({"error":"denied"})", R"({"error":"denied"})"},
      {"\n <p>Bearer sEcReT</p> ", "<p>Bearer ***</p>"},
      {R"({"error":{"message":"sEcRe\u0054 is bad"}})", "*** is bad"},
      {std::string(320, 'e'), std::string(320, 'e')},
      {std::string(319, 'e') + "éé", std::string(319, 'e') + "é…"},
      {" ", advice},
      {"\xFF", advice},
  };
  const auto failure = [](Calendars& calendars, Provider provider, bool all, int code) {
    try {
      calendars.events(provider, all);
    } catch (const ProviderError& error) {
      EXPECT_EQ(error.domain(), "CalendarService");
      EXPECT_EQ(error.code(), code);
      return std::string(error.what());
    }
    return std::string("no failure");
  };
  for (const auto& [body, detail] : details) {
    Calendars google;
    google.http.answer(403, body);
    EXPECT_EQ(failure(google, Provider::google, false, 403), "Google Calendar: " + detail);
    Calendars microsoft;
    microsoft.http.answer(403, body);
    EXPECT_EQ(failure(microsoft, Provider::microsoft, true, 403), "Microsoft Graph: " + detail);
  }
  using Kind = HttpError::Kind;
  const std::tuple<Provider, bool, Kind, const char*> broken[] = {
      {Provider::google, false, Kind::invalidURL, "Invalid Google Calendar URL."},
      {Provider::google, true, Kind::invalidURL, "Invalid Google Calendar URL."},
      {Provider::microsoft, false, Kind::invalidURL, "Invalid Microsoft Calendar URL."},
      {Provider::microsoft, true, Kind::invalidURL, "Invalid Microsoft calendars URL."},
      {Provider::google, false, Kind::notHTTP, "Google Calendar: not an HTTP response."},
      {Provider::microsoft, true, Kind::notHTTP, "Microsoft Graph: not an HTTP response."},
  };
  for (const auto& [provider, all, kind, text] : broken) {
    Calendars calendars;
    calendars.http.fail({kind, "words"});
    EXPECT_EQ(failure(calendars, provider, all, kind == Kind::notHTTP ? -1 : 2), text);
  }
  Calendars lost;
  lost.http.fail({Kind::transport, "lost"});
  EXPECT_EQ(failureText<HttpError>([&] { lost.events(Provider::google, false); }), "lost");
}

}  // namespace
}  // namespace halcyra

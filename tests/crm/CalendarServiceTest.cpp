#include "crm/CalendarService.h"

#include <gtest/gtest.h>

#include "crm/AgendaMerge.h"
#include "platform/ProviderError.h"
#include "platform/linux/CurlHttpClient.h"
#include "sandbox/GoogleStandIn.h"
#include "sandbox/MicrosoftStandIn.h"
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
  struct Case {
    Provider provider;
    bool all;
    json list;
    Texts paths;
  };
  const Case cases[] = {
      {Provider::google, false, {}, {googlePath("primary", 80)}},
      {Provider::microsoft, false, {}, {microsoftPath("calendarView", 80)}},
      {Provider::google, true, json::object(), {googleList, googlePath("primary", 80)}},
      {Provider::microsoft,
       true,
       {{"value", nullptr}},
       {microsoftList, microsoftPath("calendarView", 80)}},
      {Provider::google,
       true,
       {{"items", ids({" a#b/c@x ", "", "d", "a#b/c@x", "D"})}},
       {googleList, googlePath("a%23b%2Fc@x", 80), googlePath("d", 80), googlePath("D", 80)}},
      {Provider::google,
       true,
       {{"items", ids({"a", "primary"})}},
       {googleList, googlePath("primary", 80), googlePath("a", 80), googlePath("primary", 80)}},
      {Provider::google,
       true,
       {{"items", ids({"primary", "a"})}},
       {googleList, googlePath("primary", 100), googlePath("a", 100)}},
      {Provider::microsoft,
       true,
       {{"value", json::array({{{"id", "b"}, {"isDefaultCalendar", true}},
                               {{"id", ""}},
                               json::object(),
                               {{"id", "A/ ="}}})}},
       {microsoftList, microsoftPath("calendars/A%2F%20=/calendarView", 100),
        microsoftPath("calendars/b/calendarView", 100)}},
  };
  for (const Case& c : cases) {
    Calendars calendars;
    if (c.all) calendars.answer(c.list);
    for (std::size_t i = c.all; i < c.paths.size(); ++i) calendars.answer(json::object());
    EXPECT_EQ(calendars.events(c.provider, c.all), Events());
    EXPECT_EQ(calendars.paths(), c.paths);
  }
}

TEST(CalendarService, SharesTheLimitAmongTheCalendars) {
  struct Case {
    int most;
    int calendars;
    std::string limit;
  };
  const Case cases[] = {{80, 1, "100"}, {80, 2, "100"}, {80, 7, "34"}, {80, 25, "20"},
                        {8, 1, "24"},   {8, 2, "20"},   {80, 40, "20"}};
  for (const Case& c : cases) {
    Texts names;
    for (int i = 0; i < c.calendars; ++i) names.push_back(std::to_string(100 + i));
    for (const Provider provider : {Provider::google, Provider::microsoft}) {
      Calendars calendars;
      calendars.answer({{"items", ids(names)}, {"value", ids(names)}});
      const std::size_t read = std::min(c.calendars, 25);
      for (std::size_t i = 0; i < read; ++i) calendars.answer(json::object());
      calendars.events(provider, true, c.most);
      const Texts paths = calendars.paths();
      ASSERT_EQ(paths.size(), read + 1);
      const std::string limit = (provider == Provider::google ? "maxResults=" : "$top=") + c.limit;
      EXPECT_NE((paths[read] + "&").find(limit + "&"), std::string::npos) << paths[read];
    }
  }
}

TEST(CalendarService, AListThatNeverEndsIsLeftAfterAWhile) {
  const auto pagesRead = [](const auto& page) {
    Calendars calendars;
    for (int i = 0; i < 60; ++i) calendars.answer(page(i));
    calendars.events(Provider::google, true);
    const Texts paths = calendars.paths();
    return std::ranges::count_if(
        paths, [](const std::string& path) { return path.find("calendarList") != path.npos; });
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
  Calendars calendars;
  calendars.answer(endless(nullptr)).answer(json::object()).answer(json::object());
  calendars.events(Provider::google, true);
  EXPECT_EQ(calendars.paths()[1],
            "/calendar/v3/users/me/calendarList?maxResults=100&pageToken=more%2F1");
}

TEST(CalendarService, ReadsEventsAsTheyAreWritten) {
  const std::string longTitle(5000, 'x');
  const auto event = [](std::string title, std::string start, std::string end,
                        std::optional<std::string> key = {}) {
    return AgendaEvent{std::move(title), std::move(start), std::move(end), std::move(key)};
  };
  const std::pair<json, Events> google[] = {
      {json::parse(R"([{"id":"1","summary":" Stand-up\n","description":"<p>Hi</p>","attendees":[{}],
         "start":{"dateTime":"2026-03-02T09:00:00+01:00","date":"no"},
         "end":{"dateTime":"","date":"2026-03-03"}},
        {"id":"","summary":" ","start":{"date":"2026-03-04"},"end":{}},
        {"summary":null,"start":null},{}])"),
       {event("Stand-up", "2026-03-02T09:00:00+01:00", "2026-03-03", "primary|1"),
        event("(untitled)", "2026-03-04", "unknown", "primary|"),
        event("(untitled)", "unknown", "unknown"), event("(untitled)", "unknown", "unknown")}},
      {json::array({{{"summary", longTitle}}}),
       {event(std::string(2000, 'x'), "unknown", "unknown")}},
  };
  const std::pair<json, Events> microsoft[] = {
      {json::parse(R"([{"id":"1","subject":" Stand-up ","body":{"content":"<html>"},
         "start":{"dateTime":"2026-03-02T09:00:00.0000000","timeZone":"UTC"},
         "end":{"timeZone":"UTC"}},
        {"start":{"dateTime":"2026-03-02T09:00:00"},"end":{"dateTime":null,"timeZone":""}}])"),
       {event("Stand-up", "2026-03-02T09:00:00.0000000 UTC", "UTC", "default|1"),
        event("(untitled)", "2026-03-02T09:00:00", "unknown")}},
  };
  for (const auto& [items, events] : google) {
    EXPECT_EQ(Calendars().answer({{"items", items}}).events(Provider::google, false), events);
  }
  for (const auto& [items, events] : microsoft) {
    EXPECT_EQ(Calendars().answer({{"value", items}}).events(Provider::microsoft, false), events);
  }
  json thousands = json::array();
  for (int i = 0; i < 5000; ++i) thousands.push_back({{"summary", std::to_string(i)}});
  const Events kept = Calendars().answer({{"items", thousands}}).events(Provider::google, false);
  ASSERT_EQ(kept.size(), 80u);
  EXPECT_EQ(kept.back().title, "79");
  for (const char* body :
       {"", "<html>", "[]", R"({"items":{}})", R"({"items":[5]})", R"({"items":[{"id":5}]})",
        R"({"items":[{"summary":[]}]})", R"({"items":[{"start":"2026-03-02"}]})",
        R"({"items":[{"end":{"date":20260302}}]})"}) {
    Calendars calendars;
    calendars.http.answer(200, body);
    EXPECT_THROW(calendars.events(Provider::google, false), JsonError) << body;
  }
}

TEST(AgendaMerge, KeepsTheFirstOfEachKeyInOrderOfStart) {
  const auto event = [](std::string title, std::string start, std::string end = "e",
                        std::optional<std::string> key = {}) {
    return AgendaEvent{std::move(title), std::move(start), std::move(end), std::move(key)};
  };
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
  EXPECT_EQ(mergedAgenda(events, 80)[1].end, "e");
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
    for (const bool all : {false, true}) {
      Calendars google;
      google.http.answer(403, body);
      EXPECT_EQ(failure(google, Provider::google, all, 403), "Google Calendar: " + detail);
      Calendars microsoft;
      microsoft.http.answer(403, body);
      EXPECT_EQ(failure(microsoft, Provider::microsoft, all, 403), "Microsoft Graph: " + detail);
    }
  }
  struct Broken {
    Provider provider;
    bool all;
    HttpError::Kind kind;
    int code;
    const char* text;
  };
  using Kind = HttpError::Kind;
  const Broken broken[] = {
      {Provider::google, false, Kind::invalidURL, 2, "Invalid Google Calendar URL."},
      {Provider::google, true, Kind::invalidURL, 2, "Invalid Google Calendar URL."},
      {Provider::microsoft, false, Kind::invalidURL, 2, "Invalid Microsoft Calendar URL."},
      {Provider::microsoft, true, Kind::invalidURL, 2, "Invalid Microsoft calendars URL."},
      {Provider::google, false, Kind::notHTTP, -1, "Google Calendar: not an HTTP response."},
      {Provider::microsoft, true, Kind::notHTTP, -1, "Microsoft Graph: not an HTTP response."},
  };
  for (const Broken& c : broken) {
    Calendars calendars;
    calendars.http.fail({c.kind, "words"});
    EXPECT_EQ(failure(calendars, c.provider, c.all, c.code), c.text);
  }
  Calendars lost;
  lost.http.fail({Kind::transport, "lost"});
  EXPECT_EQ(failureText<HttpError>([&] { lost.events(Provider::google, false); }), "lost");
}

template <class StandIn>
struct Served {
  StandIn provider;
  sandbox::LoopbackHttpServer server{
      [this](const sandbox::ServedRequest& request) { return provider(request); }};
  CurlHttpClient http;
  CalendarService service{http, Endpoints{.google = server.baseURL(), .graph = server.baseURL()}};
  std::string token = provider.signIn().accessToken;

  void add(const char* title, std::chrono::hours start, const std::string& calendar = {}) {
    const auto moment = std::chrono::floor<std::chrono::milliseconds>(from + start);
    provider.addEvent({title, moment, moment + 1h}, calendar);
  }
  int status(const std::string& target) {
    const std::vector<HttpHeader> headers = {{"Authorization", "Bearer " + token}};
    return runTask(http.perform({"GET", server.baseURL() + target, headers, {}, 10s})).status;
  }
};

// Written from the providers' published interfaces: what they would refuse is refused here.
TEST(CalendarService, WorksWithServersThatCheckTheQuery) {
  const auto fill = [](auto& served, const std::string& second) {
    served.provider.addCalendar(second);
    served.add("second", 30h, second);
    served.add("first", 0h);
    served.add("late", 27 * 24h);
    served.add("too late", 28 * 24h);
    served.add("over", -1h);
  };
  Served<sandbox::GoogleStandIn> g;
  fill(g, "en.usa#holiday@group.example");
  const auto google = [&](int most, bool all) {
    return titles(runTask(g.service.upcomingGoogleEvents(g.token, most, from, all)));
  };
  EXPECT_EQ(google(80, false), (Texts{"first", "late"}));
  EXPECT_EQ(google(1, false), (Texts{"first"}));
  EXPECT_EQ(google(80, true), (Texts{"first", "second", "late"}));
  Served<sandbox::MicrosoftStandIn> m;
  fill(m, "AAMk/second==");
  const auto microsoft = [&](int most, bool all) {
    return titles(runTask(m.service.upcomingMicrosoftEvents(m.token, most, from, all)));
  };
  EXPECT_EQ(microsoft(80, false), (Texts{"first", "late"}));
  EXPECT_EQ(microsoft(1, false), (Texts{"first"}));
  EXPECT_EQ(microsoft(80, true), (Texts{"first", "second", "late"}));

  const std::string events = "/calendar/v3/calendars/primary/events?";
  const std::string period = "timeMin=2026-03-01T07:00:00Z&timeMax=2026-03-02T07:00:00Z";
  const std::string view = "/v1.0/me/calendarView?startDateTime=2026-03-01T07:00:00Z";
  EXPECT_EQ(g.status(events + period + "&orderBy=startTime&singleEvents=true"), 200);
  for (const std::string& target :
       {events + period + "&orderBy=startTime", events + "timeMin=2026-03-01T07:00:00",
        events + period + "&maxResults=0",
        std::string("/calendar/v3/users/me/calendarList?pageToken=x")}) {
    EXPECT_EQ(g.status(target), 400) << target;
  }
  EXPECT_EQ(g.status("/calendar/v3/calendars/nobody/events?" + period), 404);
  EXPECT_EQ(m.status(view + "&endDateTime=2026-03-02T07:00:00Z"), 200);
  for (const char* rest : {"", "&endDateTime=2026-03-02T07:00:00Z&$select=wrong",
                           "&endDateTime=2026-03-02T07:00:00Z&$top=0",
                           "&endDateTime=2026-03-02T07:00:00Z&$orderby=end"}) {
    EXPECT_EQ(m.status(view + rest), 400) << rest;
  }
}

}  // namespace
}  // namespace halcyra

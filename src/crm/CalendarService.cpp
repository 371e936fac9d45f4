#include "crm/CalendarService.h"

#include <algorithm>

#include "crm/AgendaMerge.h"
#include "crm/CalendarReplies.h"
#include "mail/ApiRequest.h"
#include "mail/GraphExchange.h"
#include "platform/ProviderError.h"
#include "text/InternetDate.h"
#include "text/PercentEncoding.h"

namespace halcyra {
namespace {

using namespace std::chrono;

constexpr const char* calendarDomain = "CalendarService";
constexpr int badAddress = 2;
constexpr std::string_view google = "Google Calendar";
constexpr std::string_view microsoft = "Microsoft Graph";
constexpr const char* primary = "primary";
constexpr std::size_t mostCalendars = 25;
// A list may hold pages without any calendar, but not for ever.
constexpr int mostPages = 25;

struct Period {
  std::string start;
  std::string end;
};

Period periodFrom(TimePoint from) {
  const auto start = floor<milliseconds>(from);
  return {internetDateTime(start), internetDateTime(start + seconds(2419200))};
}

int limitForEach(int maxResults, std::size_t calendars) {
  return std::clamp(maxResults * 3 / static_cast<int>(calendars), 20, 100);
}

void addNewIds(std::vector<std::string>& ids, std::vector<std::string> found) {
  for (std::string& id : found) {
    if (ids.size() == mostCalendars) return;
    if (std::ranges::count(ids, id) == 0) ids.push_back(std::move(id));
  }
}

}  // namespace

CalendarService::CalendarService(HttpClient& http, const Endpoints& endpoints)
    : http_(http),
      googleURL_(endpoints.google + "/calendar/v3"),
      graphURL_(endpoints.graph + "/v1.0") {}

Task<CalendarService::Events> CalendarService::upcomingGoogleEvents(std::string accessToken,
                                                                    int maxResults, TimePoint from,
                                                                    bool allCalendars) {
  std::vector<std::string> ids;
  if (allCalendars) {
    Task<std::vector<std::string>> listing = googleCalendarIds(accessToken);
    ids = co_await std::move(listing);
  }
  Query query{std::move(accessToken), from, maxResults};
  Task<Events> reading =
      ids.empty() ? readGoogleCalendar(std::move(query), primary)
                  : readAll(&CalendarService::readGoogleCalendar, std::move(query), std::move(ids));
  co_return co_await std::move(reading);
}

Task<CalendarService::Events> CalendarService::upcomingMicrosoftEvents(std::string accessToken,
                                                                       int maxResults,
                                                                       TimePoint from,
                                                                       bool allCalendars) {
  std::vector<std::string> ids;
  if (allCalendars) {
    Task<std::vector<std::string>> listing = microsoftCalendarIds(accessToken);
    ids = co_await std::move(listing);
  }
  Query query{std::move(accessToken), from, maxResults};
  Task<Events> reading = ids.empty() ? readMicrosoftCalendar(std::move(query), {})
                                     : readAll(&CalendarService::readMicrosoftCalendar,
                                               std::move(query), std::move(ids));
  co_return co_await std::move(reading);
}

Task<CalendarService::Events> CalendarService::readAll(ReadCalendar read, Query query,
                                                       std::vector<std::string> calendarIds) {
  const int most = query.limit;
  query.limit = limitForEach(most, calendarIds.size());
  Events all;
  for (const std::string& id : calendarIds) {
    try {
      Task<Events> reading = (this->*read)(query, id);
      Events events = co_await std::move(reading);
      std::ranges::move(events, std::back_inserter(all));
    } catch (const std::runtime_error&) {
      // The others still tell when the person is busy.
    }
  }
  co_return mergedAgenda(std::move(all), static_cast<std::size_t>(most));
}

Task<std::vector<std::string>> CalendarService::googleCalendarIds(std::string accessToken) {
  std::vector<std::string> ids;
  std::optional<std::string> token;
  for (int page = 0; page < mostPages && ids.size() < mostCalendars; ++page) {
    std::vector<std::pair<std::string, std::string>> items = {{"maxResults", "100"}};
    if (token) items.push_back({"pageToken", *token});
    Task<std::string> answer =
        answerTo({accessToken, google, googleURL_ + "/users/me/calendarList?" + formEncoded(items),
                  "Invalid Google Calendar URL."});
    const std::string body = co_await std::move(answer);
    GoogleCalendarList list = googleCalendarList(body);
    addNewIds(ids, std::move(list.ids));
    token = std::move(list.nextPageToken);
    if (!token) break;
  }
  // Once more in front; what is read twice is merged.
  if (std::ranges::count(ids, primary) > 0 && ids.front() != primary) {
    ids.insert(ids.begin(), primary);
  }
  co_return ids;
}

Task<std::vector<std::string>> CalendarService::microsoftCalendarIds(std::string accessToken) {
  const std::string query = graphQuery({{"$select", "id,isDefaultCalendar"}, {"$top", "50"}});
  Task<std::string> answer =
      answerTo({std::move(accessToken), microsoft, graphURL_ + "/me/calendars" + query,
                "Invalid Microsoft calendars URL."});
  const std::string body = co_await std::move(answer);
  std::vector<std::string> ids;
  for (MicrosoftCalendar& calendar : microsoftCalendars(body)) {
    if (calendar.id && !calendar.id->empty()) ids.push_back(std::move(*calendar.id));
  }
  ids.resize(std::min(ids.size(), mostCalendars));
  std::ranges::sort(ids);
  co_return ids;
}

Task<CalendarService::Events> CalendarService::readGoogleCalendar(Query query,
                                                                  std::string calendarId) {
  const Period period = periodFrom(query.from);
  const std::string items = formEncoded({{"singleEvents", "true"},
                                         {"orderBy", "startTime"},
                                         {"timeMin", period.start},
                                         {"timeMax", period.end},
                                         {"maxResults", std::to_string(query.limit)}});
  Task<std::string> answer =
      answerTo({std::move(query.accessToken), google,
                googleURL_ + "/calendars/" + pathSegmentEncoded(calendarId) + "/events?" + items,
                "Invalid Google Calendar URL."});
  const std::string body = co_await std::move(answer);
  co_return googleEvents(body, calendarId, static_cast<std::size_t>(query.limit));
}

Task<CalendarService::Events> CalendarService::readMicrosoftCalendar(Query query,
                                                                     std::string calendarId) {
  const Period period = periodFrom(query.from);
  const std::string items = graphQuery({{"startDateTime", period.start},
                                        {"endDateTime", period.end},
                                        {"$orderby", "start/dateTime"},
                                        {"$top", std::to_string(query.limit)},
                                        {"$select", "id,subject,start,end"}});
  const std::string path = calendarId.empty() ? "" : "/calendars/" + pathSegmentEncoded(calendarId);
  Task<std::string> answer = answerTo({std::move(query.accessToken), microsoft,
                                       graphURL_ + "/me" + path + "/calendarView" + items,
                                       "Invalid Microsoft Calendar URL."});
  const std::string body = co_await std::move(answer);
  co_return microsoftEvents(body, calendarId.empty() ? "default" : calendarId,
                            static_cast<std::size_t>(query.limit));
}

Task<std::string> CalendarService::answerTo(Call call) {
  const std::string provider(call.provider);
  HttpResponse response;
  try {
    HttpRequest request = apiRequest("GET", std::move(call.url), call.accessToken, {});
    Task<HttpResponse> exchange = http_.perform(std::move(request));
    response = co_await std::move(exchange);
  } catch (const HttpError& error) {
    if (error.kind() == HttpError::Kind::invalidURL) {
      throw ProviderError(calendarDomain, badAddress, call.invalidURL);
    }
    if (error.kind() != HttpError::Kind::notHTTP) throw;
    throw ProviderError(calendarDomain, ProviderError::notHTTP,
                        provider + ": not an HTTP response.");
  }
  if (isSuccess(response)) co_return std::move(response.body);
  const std::string detail =
      calendarErrorDetail(response.status, shownBody(response, call.accessToken));
  // Once more, since JSON has more spellings than one.
  throw ProviderError(calendarDomain, response.status,
                      provider + ": " + withoutToken(detail, call.accessToken));
}

}  // namespace halcyra

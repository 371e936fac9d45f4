#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "crm/AgendaEvent.h"
#include "platform/Clock.h"
#include "platform/Endpoints.h"
#include "platform/HttpClient.h"
#include "platform/Task.h"

namespace halcyra {

/// Reads the events of the 28 days after a moment from the calendars of the person whose access
/// token is passed. Keeps nothing.
///
/// With `allCalendars` up to 25 calendars are read one after the other and merged in the order of
/// their starts; one that fails is passed over. Otherwise the primary or default calendar alone is
/// read, in the provider's order. A failure is a ProviderError of the domain "CalendarService" for
/// what the provider refuses, JsonError for an answer that cannot be read and HttpError for a
/// transfer that failed. No text holds the token.
class CalendarService {
 public:
  using Events = std::vector<AgendaEvent>;

  /// `http` outlives the service and all its operations.
  CalendarService(HttpClient& http, const Endpoints& endpoints);

  Task<Events> upcomingGoogleEvents(std::string accessToken, int maxResults, TimePoint from,
                                    bool allCalendars);
  Task<Events> upcomingMicrosoftEvents(std::string accessToken, int maxResults, TimePoint from,
                                       bool allCalendars);

 private:
  struct Query {
    std::string accessToken;
    TimePoint from;
    /// Events a calendar.
    int limit;
  };
  struct Call {
    std::string accessToken;
    std::string_view provider;
    std::string url;
    /// The text of an address that cannot be formed.
    const char* invalidURL;
  };
  using ReadCalendar = Task<Events> (CalendarService::*)(Query query, std::string calendarId);

  Task<std::string> answerTo(Call call);
  Task<std::vector<std::string>> googleCalendarIds(std::string accessToken);
  Task<std::vector<std::string>> microsoftCalendarIds(std::string accessToken);
  Task<Events> readGoogleCalendar(Query query, std::string calendarId);
  /// The default calendar for an empty id.
  Task<Events> readMicrosoftCalendar(Query query, std::string calendarId);
  Task<Events> readAll(ReadCalendar read, Query query, std::vector<std::string> calendarIds);

  HttpClient& http_;
  const std::string googleURL_;
  const std::string graphURL_;
};

}  // namespace halcyra

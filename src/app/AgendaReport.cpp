#include "app/AgendaReport.h"

#include <stdexcept>

#include "crm/AgendaDate.h"
#include "signin/ScopeHint.h"
#include "text/ControlCharacters.h"

namespace halcyra {
namespace {

constexpr int eventsShown = 8;

Task<std::vector<AgendaEvent>> nextEvents(Providers& providers, const AppConfig& config,
                                          const std::string& accountId, CalendarProvider provider) {
  const bool isGoogle = provider == CalendarProvider::google;
  Task<std::string> getting = isGoogle
                                  ? providers.tokens().validGoogleAccessToken(accountId)
                                  : providers.tokens().validMicrosoftAccessToken(config, accountId);
  std::string token = co_await std::move(getting);
  const TimePoint now = providers.userCalendar().clock.now();
  const bool all = config.meetingCheckAllCalendarsForAvailability;
  CalendarService& calendars = providers.calendars();
  Task<std::vector<AgendaEvent>> reading =
      isGoogle ? calendars.upcomingGoogleEvents(std::move(token), eventsShown, now, all)
               : calendars.upcomingMicrosoftEvents(std::move(token), eventsShown, now, all);
  co_return co_await std::move(reading);
}

}  // namespace

std::string agendaReport(CalendarProvider provider, bool allCalendars,
                         const std::vector<AgendaEvent>& events, const UserCalendar& calendar) {
  const bool isGoogle = provider == CalendarProvider::google;
  const std::string name = isGoogle ? "Google agenda" : "Outlook agenda";
  if (events.empty()) return name + ": no upcoming events in the next 7 days.";
  const std::string scope = allCalendars ? "all readable calendars"
                            : isGoogle   ? "primary calendar only"
                                         : "default calendar only";
  std::string report = name + " (" + scope + ", next " + std::to_string(events.size()) + "):";
  for (const AgendaEvent& event : events) {
    report += "\n• " + onOneLine(agendaDisplayDate(event.start, calendar)) + " — " +
              onOneLine(event.title);
  }
  return report;
}

Task<std::string> testAgenda(Providers& providers, const AppConfig& config,
                             const MailAccount& mailbox) {
  if (std::holds_alternative<IMAPConnection>(mailbox.kind)) {
    throw std::runtime_error("an IMAP mailbox has no calendar");
  }
  const bool isGoogle = std::holds_alternative<GoogleGmail>(mailbox.kind);
  const auto provider = isGoogle ? CalendarProvider::google : CalendarProvider::microsoft;
  try {
    Task<std::vector<AgendaEvent>> reading = nextEvents(providers, config, mailbox.id, provider);
    const std::vector<AgendaEvent> events = co_await std::move(reading);
    co_return agendaReport(provider, config.meetingCheckAllCalendarsForAvailability, events,
                           providers.userCalendar());
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(scopeHint(error.what(), isGoogle ? "Google" : "Microsoft"));
  }
}

}  // namespace halcyra

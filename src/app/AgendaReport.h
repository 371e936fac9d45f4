#pragma once

#include <string>
#include <vector>

#include "app/Providers.h"
#include "config/AppConfig.h"
#include "crm/AgendaEvent.h"

namespace halcyra {

enum class CalendarProvider { google, microsoft };

/// The coming events as a person reads them, one a line under a heading.
std::string agendaReport(CalendarProvider provider, bool allCalendars,
                         const std::vector<AgendaEvent>& events, const UserCalendar& calendar);

/// Reads the next events of a mailbox's calendars and gives the report. Throws std::runtime_error
/// with the text to show, also for an IMAP mailbox. `mailbox` and `config` outlive the call.
Task<std::string> testAgenda(Providers& providers, const AppConfig& config,
                             const MailAccount& mailbox);

}  // namespace halcyra

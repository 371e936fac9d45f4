#pragma once

#include <string>
#include <vector>

#include "config/AppConfig.h"
#include "crm/CalendarService.h"
#include "crm/UserCalendar.h"
#include "mail/GmailAPIClient.h"
#include "mail/GraphMailClient.h"
#include "platform/Log.h"
#include "signin/AccessTokens.h"

namespace halcyra {

/// What the context is made from. All of it outlives the context.
struct MeetingSources {
  AccessTokens& tokens;
  CalendarService& calendars;
  GmailAPIClient& gmail;
  GraphMailClient& graph;
  UserCalendar calendar;
  Log& log;
};

/// Tells a model when the user could meet somebody and how the user writes, from the calendar and
/// the sent mail of a Gmail or Graph mailbox. Fetches anew each time; keeps nothing.
class MeetingContext {
 public:
  explicit MeetingContext(MeetingSources sources) : sources_(sources) {}

  /// The text for the prompt; empty for an IMAP mailbox, which has no calendar. An agenda that
  /// cannot be fetched is logged and told to the model. `mailbox` and `config` outlive the call.
  Task<std::string> meetingContext(const MailAccount& mailbox, const AppConfig& config);

  /// Excerpts of the latest sent mail; empty when they are not wanted or cannot be fetched.
  /// `mailbox` and `config` outlive the call.
  Task<std::string> sentMailToneBlock(const MailAccount& mailbox, const AppConfig& config);

 private:
  Task<std::string> guardrails(const MailAccount& mailbox, const AppConfig& config);
  Task<std::vector<AgendaEvent>> agenda(const MailAccount& mailbox, const AppConfig& config,
                                        TimePoint from);
  Task<std::string> tokenOf(const MailAccount& mailbox, const AppConfig& config);

  MeetingSources sources_;
};

}  // namespace halcyra

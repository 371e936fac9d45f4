#include "classification/MeetingContext.h"

#include "classification/MeetingBlock.h"
#include "classification/MeetingTimes.h"
#include "text/ControlCharacters.h"
#include "text/Graphemes.h"

namespace halcyra {
namespace {

bool isGmail(const MailAccount& mailbox) {
  return std::holds_alternative<GoogleGmail>(mailbox.kind);
}

bool hasCalendar(const MailAccount& mailbox) {
  return !std::holds_alternative<IMAPConnection>(mailbox.kind);
}

}  // namespace

Task<std::string> MeetingContext::meetingContext(const MailAccount& mailbox,
                                                 const AppConfig& config) {
  if (!hasCalendar(mailbox)) co_return std::string();
  Task<std::string> guarding = guardrails(mailbox, config);
  std::string context = co_await std::move(guarding);
  Task<std::string> sampling = sentMailToneBlock(mailbox, config);
  context += co_await std::move(sampling);
  co_return context;
}

Task<std::string> MeetingContext::guardrails(const MailAccount& mailbox, const AppConfig& config) {
  constexpr std::size_t longestError = 1000;
  const TimePoint day = earliestMeetingDay(config.meetingLeadTimeDays, config.workingWeekdaySet(),
                                           sources_.calendar.clock);
  std::string failure;
  try {
    Task<std::vector<AgendaEvent>> reading = agenda(mailbox, config, day);
    const std::vector<AgendaEvent> events = co_await std::move(reading);
    co_return meetingBlock(config, day, events, sources_.calendar);
  } catch (const std::runtime_error& error) {
    failure = error.what();
  }
  sources_.log.logLine("Agenda context unavailable (" + onOneLine(config.mailboxLabel(mailbox.id)) +
                       "): " + onOneLine(graphemePrefix(failure, longestError)));
  co_return meetingBlockWithoutAgenda(config, day, sources_.calendar);
}

Task<std::vector<AgendaEvent>> MeetingContext::agenda(const MailAccount& mailbox,
                                                      const AppConfig& config, TimePoint from) {
  Task<std::string> getting = tokenOf(mailbox, config);
  std::string token = co_await std::move(getting);
  const bool all = config.meetingCheckAllCalendarsForAvailability;
  CalendarService& calendars = sources_.calendars;
  Task<std::vector<AgendaEvent>> reading =
      isGmail(mailbox)
          ? calendars.upcomingGoogleEvents(std::move(token), agendaLimit, from, all)
          : calendars.upcomingMicrosoftEvents(std::move(token), agendaLimit, from, all);
  co_return co_await std::move(reading);
}

Task<std::string> MeetingContext::sentMailToneBlock(const MailAccount& mailbox,
                                                    const AppConfig& config) {
  constexpr int samples = 6;
  if (!config.meetingIncludeSentMailVoice || !hasCalendar(mailbox)) co_return std::string();
  try {
    Task<std::string> getting = tokenOf(mailbox, config);
    std::string token = co_await std::move(getting);
    Task<std::vector<std::string>> sampling =
        isGmail(mailbox) ? sources_.gmail.recentSentSnippets(std::move(token), samples)
                         : sources_.graph.recentSentSnippets(std::move(token), samples);
    const std::vector<std::string> excerpts = co_await std::move(sampling);
    co_return toneBlock(excerpts);
  } catch (const std::runtime_error&) {
    co_return std::string();  // a sample is a help, not a need
  }
}

Task<std::string> MeetingContext::tokenOf(const MailAccount& mailbox, const AppConfig& config) {
  return isGmail(mailbox) ? sources_.tokens.validGoogleAccessToken(mailbox.id)
                          : sources_.tokens.validMicrosoftAccessToken(config, mailbox.id);
}

}  // namespace halcyra

#include "classification/MeetingBlock.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "classification/MeetingTimes.h"
#include "crm/AgendaDate.h"
#include "text/ControlCharacters.h"
#include "text/Graphemes.h"

namespace halcyra {
namespace {

constexpr const char* allCalendarsNote =
    "The agenda below merges upcoming events from **all** calendars Halcyra can read on this "
    "account—treat the combined list as busy when proposing times.";

constexpr const char* primaryCalendarNote =
    "The agenda below is from the **primary (default)** calendar only for this account. Events on "
    "other Google calendars are invisible unless you enable “Check all calendars” in Settings → "
    "Meetings.";

constexpr const char* unavailableBody =
    "Agenda context could not be loaded right now. Treat the agenda as **unavailable**: do **not** "
    "propose any times or time windows (risk of conflicts). Instead, ask the sender for 2–3 "
    "options, or ask them to confirm a specific time they prefer. Still enforce lead time, working "
    "days, and hours.";

constexpr const char* emptyBody =
    "No events were found in the upcoming agenda window after that lead time. Treat the agenda as "
    "**unreliable/empty**: do **not** propose any times or time windows. Instead, ask the sender "
    "for 2–3 options, or ask them to confirm a specific time they prefer.";

constexpr const char* noStarts =
    "No safe 30-minute start times were found in the next few working days given the agenda + "
    "buffers. Ask the sender for options.";

MeetingHours meetingHours(const AppConfig& config) {
  return {.weekdays = config.workingWeekdaySet(),
          .start = std::max<std::int64_t>(config.meetingWorkingHoursStart, 0),
          .end = std::min<std::int64_t>(config.meetingWorkingHoursEnd, 23),
          .gap = std::max<std::int64_t>(config.meetingMinGapMinutes, 0)};
}

std::string hourText(std::int64_t hour) {
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%02lld:00", static_cast<long long>(hour));
  return text.data();
}

std::string guardrails(const AppConfig& config, TimePoint earliestDay, const UserCalendar& calendar,
                       const std::string& body) {
  const MeetingHours hours = meetingHours(config);
  const std::string gap = std::to_string(hours.gap);
  return "### Meeting scheduling guardrails\n- Minimum meeting lead time: " +
         std::to_string(config.meetingLeadTimeDays) + " working day(s) (only " +
         workingWeekdayNames(hours.weekdays, calendar.styles) +
         " count toward lead time). The earliest calendar day to propose is **on or after** " +
         calendar.styles.longDate(calendar.clock.localTime(earliestDay)) +
         ".\n- Propose meeting **starts** only on these working days, between " +
         hourText(hours.start) + " and " + hourText(hours.end) +
         " local time.\n- Minimum time between meetings: " + gap +
         " minute(s) before/after adjacent meetings.\n- **Do not propose any start time that "
         "overlaps** a window shown in the agenda (same local date/time, including all-day "
         "events). Respect the " +
         gap + "-minute buffer around each listed event.\n- " +
         (config.meetingCheckAllCalendarsForAvailability ? allCalendarsNote : primaryCalendarNote) +
         "\n- " + body;
}

template <class Range, class Text>
std::string bulletLines(const Range& range, Text text) {
  std::string lines;
  for (const auto& item : range) lines += (lines.empty() ? "- " : "\n- ") + text(item);
  return lines;
}

// Whoever sends an invitation chooses its title: it gets one line and no more.
std::string agendaText(const AgendaEvent& event, const UserCalendar& calendar) {
  constexpr std::size_t longestTitle = 200;
  const auto start = readAgendaDate(event.start);
  return (start ? agendaDateText(*start, calendar) : onOneLine(event.start)) + " — " +
         onOneLine(graphemePrefix(event.title, longestTitle));
}

std::string startsSection(const std::vector<TimePoint>& starts, const UserCalendar& calendar) {
  if (starts.empty()) return noStarts;
  return "Allowed 30-minute start times (local time) — you may only propose starts from this "
         "list:\n" +
         bulletLines(starts, [&](TimePoint start) {
           return calendar.styles.dateAndTime(calendar.clock.localTime(start));
         });
}

}  // namespace

std::string meetingBlock(const AppConfig& config, TimePoint earliestDay,
                         const std::vector<AgendaEvent>& agenda, const UserCalendar& calendar) {
  if (agenda.empty()) return guardrails(config, earliestDay, calendar, emptyBody);
  std::string body =
      "Upcoming agenda from that horizon (" + std::to_string(agenda.size()) + " event(s)):\n" +
      bulletLines(agenda, [&](const AgendaEvent& event) { return agendaText(event, calendar); });
  if (agenda.size() >= static_cast<std::size_t>(agendaLimit)) {
    body += "\n(Agenda may be truncated if you have more than " + std::to_string(agendaLimit) +
            " events in this window—when unsure, offer a few options or ask them to suggest "
            "times.)";
  }
  const auto starts = allowedStarts(earliestDay, meetingHours(config),
                                    busyWindows(agenda, calendar.clock), calendar.clock);
  return guardrails(config, earliestDay, calendar, body + "\n\n" + startsSection(starts, calendar));
}

std::string meetingBlockWithoutAgenda(const AppConfig& config, TimePoint earliestDay,
                                      const UserCalendar& calendar) {
  return guardrails(config, earliestDay, calendar, unavailableBody);
}

std::string toneBlock(const std::vector<std::string>& excerpts) {
  if (excerpts.empty()) return {};
  return "\n### Recent outgoing mail (tone)\nWhen writing `draft_reply`, loosely match formality, "
         "greetings, sign-offs, and phrasing seen below — never copy sentences verbatim.\n" +
         bulletLines(excerpts, [](const std::string& excerpt) { return onOneLine(excerpt); });
}

}  // namespace halcyra

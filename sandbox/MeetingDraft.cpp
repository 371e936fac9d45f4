#include "sandbox/MeetingDraft.h"

#include "sandbox/Words.h"

namespace halcyra::sandbox {
namespace {

bool asksForMeeting(const AskedMail& mail) {
  const std::set<std::string> asked = meaningfulStems(mail.subject + "\n" + mail.text);
  for (const std::string& stem : meaningfulStems("meet meeting schedule")) {
    if (asked.contains(stem)) return true;
  }
  return false;
}

// The first line of the list; empty without one.
std::string_view firstAllowedStart(std::string_view systemMessage) {
  constexpr std::string_view mark = "you may only propose starts from this list:\n- ";
  const std::size_t at = systemMessage.find(mark);
  if (at == systemMessage.npos) return {};
  const std::string_view rest = systemMessage.substr(at + mark.size());
  return rest.substr(0, rest.find('\n'));
}

}  // namespace

std::optional<std::string> meetingDraft(std::string_view systemMessage, const AskedMail& mail) {
  if (systemMessage.find("### Meeting scheduling guardrails") == systemMessage.npos ||
      !asksForMeeting(mail)) {
    return std::nullopt;
  }
  const std::string_view start = firstAllowedStart(systemMessage);
  const std::string proposal =
      start.empty() ? "Could you send me two or three times that would suit you?"
                    : "How about " + std::string(start) + "? We would need half an hour.";
  return "Hello,\n\nThank you for your message about “" + mail.subject + "”. " + proposal +
         "\n\nBest regards";
}

}  // namespace halcyra::sandbox

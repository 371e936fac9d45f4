#include "triage/ForwardNotification.h"

#include "text/Graphemes.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

std::string titleFor(const MailRule& rule) {
  const std::string_view name = trimmed(rule.displayName);
  const std::string_view criteria = trimmed(rule.criteriaPrompt);
  if (name.empty() && criteria.empty()) return "Forwarded";
  std::string title(name);
  if (!name.empty() && !criteria.empty()) title += " - ";
  return title.append(criteria);
}

}  // namespace

ForwardNotification forwardNotification(const ParsedMail& mail, const MailRule& rule) {
  const std::string_view subject = trimmed(mail.subject);
  return {std::string(graphemePrefix(titleFor(rule), 120)),
          subject.empty() ? "No subject" : std::string(graphemePrefix(subject, 500))};
}

}  // namespace halcyra

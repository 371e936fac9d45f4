#include "triage/ModelFailure.h"

#include <algorithm>

#include "text/ControlCharacters.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

// Short lines prove nothing.
bool repeatsMail(std::string_view text, const ParsedMail& mail) {
  constexpr std::size_t tellingLength = 20;
  std::string_view rest = mail.bodyText;
  while (!rest.empty()) {
    const std::string_view line = trimmed(rest.substr(0, rest.find('\n')));
    if (line.size() >= tellingLength && text.find(line.substr(0, tellingLength)) != text.npos) {
      return true;
    }
    rest.remove_prefix(std::min(rest.find('\n'), rest.size() - 1) + 1);
  }
  return mail.subject.size() >= tellingLength && text.find(mail.subject) != text.npos;
}

}  // namespace

std::string shownModelFailure(std::string_view failure, const ParsedMail& mail) {
  if (!repeatsMail(failure, mail)) return onOneLine(failure);
  return "the server answered with text of the message; see what it says with \"halcyra-cli "
         "classify\"";
}

}  // namespace halcyra

#include "cli/MailInput.h"

#include <optional>
#include <stdexcept>

#include "cli/Messages.h"
#include "cli/Source.h"
#include "text/Utf8.h"

namespace halcyra {

ParsedMail readMail(const std::string& source, std::istream& in) {
  // Read behind the marker of a literal, so that building the mail needs no second copy.
  std::string literal =
      repairedUtf8(readSource(source, in, longestMessageBytes, std::string(literalMarker)));
  std::optional<ParsedMail> mail = ParsedMail::fromIMAPFetch("", 0, {&literal, 1});
  if (!mail) {
    throw std::runtime_error((source == standardInput ? "standard input" : source) +
                             ": holds no message");
  }
  return std::move(*mail);
}

int forEachMail(Session& session, std::vector<std::string> sources,
                const std::function<void(const std::string&, const ParsedMail&)>& use) {
  if (sources.empty()) sources = {standardInput};
  int exitCode = 0;
  for (const std::string& source : sources) {
    try {
      use(source, readMail(source, session.in));
    } catch (const std::exception& error) {
      complain(session.err, error.what());
      exitCode = 1;
    }
    if (!session.out) return 1;
  }
  return exitCode;
}

}  // namespace halcyra

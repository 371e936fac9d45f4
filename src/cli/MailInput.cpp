#include "cli/MailInput.h"

#include <optional>
#include <stdexcept>

#include "cli/Messages.h"
#include "cli/Source.h"
#include "text/Utf8.h"

namespace halcyra {

namespace {

std::string readText(const std::string& source, std::istream& in, std::string_view prefix) {
  return repairedUtf8(readSource(source, in, longestMessageBytes, std::string(prefix)));
}

std::optional<ParsedMail> parsedMail(const std::string& source, std::istream& in, MailSource raw) {
  if (raw == MailSource::unneeded) return ParsedMail::withoutSource(readText(source, in, ""));
  // Read behind the marker of a literal, so that building the mail needs no second copy.
  std::string literal = readText(source, in, literalMarker);
  return ParsedMail::fromIMAPFetch("", 0, {&literal, 1});
}

}  // namespace

ParsedMail readMail(const std::string& source, std::istream& in, MailSource raw) {
  std::optional<ParsedMail> mail = parsedMail(source, in, raw);
  if (!mail) {
    throw std::runtime_error((source == standardInput ? "standard input" : source) +
                             ": holds no message");
  }
  return std::move(*mail);
}

int forEachMail(Session& session, std::vector<std::string> sources, MailSource raw,
                const std::function<void(const std::string&, const ParsedMail&)>& use) {
  if (sources.empty()) sources = {standardInput};
  int exitCode = 0;
  for (const std::string& source : sources) {
    try {
      use(source, readMail(source, session.in, raw));
    } catch (const std::exception& error) {
      complain(session.err, error.what());
      exitCode = 1;
    }
    if (!session.out) return 1;
  }
  return exitCode;
}

}  // namespace halcyra

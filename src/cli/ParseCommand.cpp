
#include "cli/Command.h"
#include "cli/MailInput.h"
#include "cli/MailRendering.h"
#include "text/ControlCharacters.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

struct ParseOptions {
  std::vector<std::string> files;
  bool json = false;
  bool raw = false;
};

// Which of several messages follows, as "head" does it.
std::string caption(const std::string& source, bool first) {
  return (first ? "" : "\n") + std::string("==> ") + onOneLine(repairedUtf8(source)) + '\n';
}

int parse(const ParseOptions& options, Session& session) {
  const RawSource raw = options.raw ? RawSource::shown : RawSource::hidden;
  bool first = true;
  const auto show = [&](const std::string& source, const ParsedMail& mail) {
    if (options.json) {
      session.out << mailJson(mail, raw) << '\n';
      return;
    }
    if (options.files.size() > 1) session.out << caption(source, first);
    first = false;
    writeMail(session.out, mail, raw);
  };
  const MailSource source = options.raw ? MailSource::needed : MailSource::unneeded;
  return forEachMail(session, options.files, source, show);
}

}  // namespace

void addParseCommand(const CommandSyntax& program) {
  auto options = std::make_shared<ParseOptions>();
  const CommandSyntax command = program.command("parse", "Show messages as the program reads them");
  command.values("FILE", options->files, "Message files; - or nothing is standard input");
  command.flag("--json", options->json, "One JSON object a message and line");
  command.flag("--raw", options->raw, "Show the source (rawRFC822) too");
  command.footer(
      "Keys of the JSON object: accountId, uid, providerRESTId, messageID, subject, from, date,\n"
      "rawRFC822 (only with --raw), bodyText.");
  command.runs([options](Session& session) { return parse(*options, session); });
}

}  // namespace halcyra

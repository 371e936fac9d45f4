
#include "classification/MarketingPrefilter.h"
#include "cli/Command.h"
#include "cli/Json.h"
#include "cli/MailInput.h"
#include "cli/Messages.h"
#include "text/ControlCharacters.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

struct PrefilterOptions {
  std::vector<std::string> files;
  bool json = false;
};

std::string jsonVerdict(const std::string& source, const ParsedMail& mail,
                        const std::optional<PrefilterSkipReason>& reason) {
  OrderedJson verdict;
  verdict["file"] = source;
  verdict["messageID"] = mail.messageID;
  verdict["skipped"] = reason.has_value();
  verdict["reason"] = nullptr;
  if (reason) verdict["reason"] = skipReasonLabel(*reason);
  return jsonLine(verdict);
}

int prefilter(const PrefilterOptions& options, Session& session) {
  const AppConfig config = openConfig(session).config();
  if (!config.prefilterMarketingEnabled) {
    complain(session.err,
             "the prefilter is switched off, so it skips nothing; switch it on with \"halcyra-cli "
             "config set prefilterMarketingEnabled true\"");
  }
  return forEachMail(session, options.files, MailSource::needed,
                     [&](const std::string& source, const ParsedMail& mail) {
                       const auto reason = marketingSkipReason(mail, config);
                       if (options.json) {
                         session.out << jsonVerdict(source, mail, reason) << '\n';
                       } else {
                         session.out << onOneLine(repairedUtf8(source)) << ": "
                                     << (reason ? skipReasonLabel(*reason) : "none") << '\n';
                       }
                     });
}

}  // namespace

void addPrefilterCommand(const CommandSyntax& program) {
  auto options = std::make_shared<PrefilterOptions>();
  const CommandSyntax command =
      program.command("prefilter", "Show which test keeps a message from the model");
  command.values("FILE", options->files, "Message files; - or nothing is standard input");
  command.flag("--json", options->json, "One JSON object a message and line");
  command.footer(
      "Answers: bulk/list headers, unsubscribe, newsletter template, or none when the message "
      "goes\n"
      "to the model. Keys of the JSON object: file, messageID, skipped (true or false), reason "
      "(the\n"
      "answer, or null for none).");
  command.runs([options](Session& session) { return prefilter(*options, session); });
}

}  // namespace halcyra

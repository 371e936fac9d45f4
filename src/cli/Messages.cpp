#include "cli/Messages.h"

#include "text/ControlCharacters.h"
#include "text/Graphemes.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

constexpr std::size_t longestMessage = 1000;

}  // namespace

void complain(std::ostream& err, std::string_view text) {
  const std::string oneLine = onOneLine(repairedUtf8(std::string(text)));
  const std::string_view line = trimmed(oneLine);
  err << "halcyra-cli: " << graphemePrefix(line, longestMessage)
      << (hasMoreGraphemesThan(line, longestMessage) ? "…" : "") << std::endl;
}

std::string_view withoutStop(std::string_view sentence) {
  return sentence.substr(0, sentence.size() - (sentence.ends_with('.') ? 1 : 0));
}

ConfigStore& openConfig(Session& session) {
  ConfigStore& store = session.app.configStore();
  if (store.loadProblem().empty()) return store;
  std::string text =
      "warning: " + store.file().string() + " cannot be used as it is (" +
      std::string(withoutStop(store.loadProblem())) + "); " +
      (store.usesDefaults() ? "defaults stand in for it" : "default rules stand in for its rules");
  if (const std::string kept = store.keptFile().string(); !kept.empty()) {
    text += ", and its text is kept as " + kept +
            ": mend that, test it with \"halcyra-cli config check " + kept +
            "\" and put it back as config.json";
  }
  complain(session.err, text);
  return store;
}

std::filesystem::path configLock(Session& session) {
  const std::filesystem::path& folder = session.app.paths().settings;
  session.app.files().createFolder(folder);
  return folder / "config.lock";
}

std::unique_ptr<InstanceLock> secretsTurn(Session& session) {
  session.app.files().createFolder(session.app.paths().settings);
  return std::make_unique<InstanceLock>(
      session.app.paths().settings / "monitor.lock",
      "a monitor is running on these settings and would undo the change; stop it first");
}

std::string addMailboxHint(Session& session) {
  const std::filesystem::path kept = session.app.paths().settings / "config.unreadable.json";
  std::error_code error;
  if (!std::filesystem::exists(kept, error)) return "add one with \"halcyra-cli mailbox add\"";
  return "earlier settings that could not be read are kept as " + kept.string() +
         ": mend that and put it back as config.json, or add a mailbox with \"halcyra-cli config "
         "edit\"";
}

KeychainHelper& openSecrets(Session& session) {
  KeychainHelper& secrets = session.app.secrets();
  if (!session.app.keychainNotice().empty())
    complain(session.err, "warning: " + session.app.keychainNotice());
  return secrets;
}

}  // namespace halcyra

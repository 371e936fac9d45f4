#include "cli/ConfigEdit.h"

#include <optional>

#include "cli/ConfigCheck.h"
#include "cli/Editor.h"
#include "cli/Messages.h"
#include "config/ConfigJson.h"
#include "platform/linux/InstanceLock.h"
#include "text/Trim.h"
#include "text/Uuid.h"

namespace halcyra {
namespace {

// The bytes as they stand, also of a file that cannot be used: this is where it is mended.
std::string originalText(Session& session, const std::filesystem::path& file) {
  if (auto text = session.app.files().read(file)) return std::move(*text);
  openConfig(session);
  auto text = session.app.files().read(file);
  if (!text) throw std::runtime_error(file.string() + " could not be created");
  return std::move(*text);
}

bool wantsAnotherTry(Session& session, const std::filesystem::path& copy) {
  if (!session.interactive) return false;
  session.err << "Edit again? Otherwise your edit is kept as " << copy.string() << " [Y/n] "
              << std::flush;
  std::string answer;
  if (!std::getline(session.in, answer)) return false;
  const std::string_view word = trimmed(answer);
  return !word.starts_with('n') && !word.starts_with('N');
}

// Gives nothing when the user leaves the text as it was.
std::optional<std::string> editedText(Session& session, const std::filesystem::path& copy,
                                      const std::string& original) {
  while (true) {
    editFile(session.app.variables(), session.interactive, copy);
    std::string text = session.app.files().read(copy).value_or("");
    if (text == original) return std::nullopt;
    try {
      const ConfigCheck check = checkConfig(text);
      for (const std::string& warning : check.warnings) {
        complain(session.err, "warning: " + warning);
      }
      return text;
    } catch (const ConfigError& error) {
      if (!session.interactive) throw;
      complain(session.err, error.what());
      if (!wantsAnotherTry(session, copy)) throw std::runtime_error("the edit was given up");
    }
  }
}

void replaceConfig(Session& session, const std::filesystem::path& file, const std::string& original,
                   const std::string& text) {
  const InstanceLock turn(configLock(session));
  if (session.app.files().read(file) != original) {
    throw std::runtime_error("config.json was changed by another program meanwhile");
  }
  session.app.files().writeAtomically(file, text);
}

}  // namespace

int editConfig(Session& session) {
  const std::filesystem::path file = session.app.paths().settings / "config.json";
  const std::string original = originalText(session, file);
  const std::filesystem::path copy = file.parent_path() / ("config.edit-" + newUuid() + ".json");
  session.app.files().writeAtomically(copy, original);
  try {
    const auto text = editedText(session, copy, original);
    if (text) replaceConfig(session, file, original, *text);
    session.out << (text ? "saved " + file.string() +
                               "; a running monitor takes it up at its next start"
                         : std::string("nothing was changed"))
                << '\n';
  } catch (const std::exception& error) {
    std::string where;
    if (session.app.files().read(copy) == original) {
      std::filesystem::remove(copy);
    } else {
      where = "; your edit is kept as " + copy.string();
    }
    throw std::runtime_error(std::string(withoutStop(error.what())) + "; config.json is unchanged" +
                             where);
  }
  std::filesystem::remove(copy);
  return 0;
}

}  // namespace halcyra

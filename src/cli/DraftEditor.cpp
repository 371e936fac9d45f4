#include "cli/DraftEditor.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "cli/Editor.h"
#include "platform/linux/PosixFileStore.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

/// A folder that only this user can read. Editors leave copies beside the file.
class PrivateFolder {
 public:
  explicit PrivateFolder(std::string pattern) {
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("no folder for the editor (" + pattern +
                               "): " + std::strerror(errno));
    }
    path_ = pattern;
  }
  ~PrivateFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace

std::string editedDraft(const Variables& variables, const std::string& draft) {
  const std::string parent =
      variables("XDG_RUNTIME_DIR").value_or(variables("TMPDIR").value_or("/tmp"));
  const PrivateFolder folder(parent + "/halcyra-reply-XXXXXX");
  const std::filesystem::path file = folder.path() / "reply.txt";
  PosixFileStore files;
  files.writeAtomically(file, draft);
  editFile(variables, true, file);
  std::optional<std::string> text = files.read(file);
  if (!text) throw std::runtime_error("the editor left no file");
  return repairedUtf8(std::move(*text));
}

}  // namespace halcyra

#include "platform/linux/PosixFileStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

#include "platform/linux/Descriptor.h"
#include "platform/linux/WriteAll.h"

namespace halcyra {
namespace {

constexpr int mostLinks = 40;  // as many as the kernel follows

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& reason) {
  throw FileError(file.string() + ": " + reason);
}

[[noreturn]] void failWithErrno(const std::filesystem::path& file) {
  fail(file, std::generic_category().message(errno));
}

// The file that a chain of symbolic links ends at, whether it exists or not.
std::filesystem::path linkTarget(std::filesystem::path file) {
  std::error_code error;
  for (int links = 0; std::filesystem::is_symlink(file, error); ++links) {
    if (links == mostLinks) fail(file, "too many symbolic links");
    const std::filesystem::path target = std::filesystem::read_symlink(file, error);
    if (error) fail(file, error.message());
    file = file.parent_path() / target;  // an absolute target replaces all of it
  }
  return file;
}

// The rename is only lasting once the folder is on disk. The new file is in place by now, so a file
// system that cannot do this changes nothing for the caller.
void flushFolder(const std::filesystem::path& folder) {
  const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor.isOpen()) ::fsync(descriptor.get());
}

std::filesystem::path folderOf(const std::filesystem::path& file) {
  return file.has_parent_path() ? file.parent_path() : ".";
}

// What the name of a temporary file is made of: mkostemp fills in the end.
constexpr std::string_view uniqueEnd = ".XXXXXX";

std::string temporaryStart(const std::filesystem::path& target) {
  return "." + target.filename().string();
}

// Removes what writers that were killed have left behind. A young file may be one that is just
// being written.
void removeStale(const std::filesystem::path& target) {
  const std::string start = temporaryStart(target) + ".";
  const std::size_t length = temporaryStart(target).size() + uniqueEnd.size();
  const auto oldest = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
  std::error_code error;
  std::filesystem::directory_iterator entry(folderOf(target), error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name.size() != length || !name.starts_with(start)) continue;
    std::error_code ignored;
    const auto written = entry->last_write_time(ignored);
    if (!ignored && written < oldest) std::filesystem::remove(entry->path(), ignored);
  }
}

bool makeFolder(const std::filesystem::path& folder) {
  std::error_code error;
  if (std::filesystem::is_directory(folder, error)) return true;
  const std::filesystem::path parent = folder.parent_path();
  if (!parent.empty() && parent != folder && !makeFolder(parent)) return false;
  return ::mkdir(folder.c_str(), 0700) == 0 || std::filesystem::is_directory(folder, error);
}

class PosixStagedFile : public StagedFile {
 public:
  PosixStagedFile(const std::filesystem::path& file, std::string_view bytes)
      : file_(file),
        target_(linkTarget(file)),
        temporary_((folderOf(target_) / temporaryStart(target_).append(uniqueEnd)).string()) {
    Descriptor descriptor(::mkostemp(temporary_.data(), O_CLOEXEC));  // with mode 0600
    if (!descriptor.isOpen()) failWithErrno(file_);
    const bool isWritten =
        writeAll(descriptor.get(), bytes) && ::fsync(descriptor.get()) == 0 && descriptor.close();
    if (!isWritten) giveUp();
  }
  PosixStagedFile(const PosixStagedFile&) = delete;
  PosixStagedFile& operator=(const PosixStagedFile&) = delete;
  ~PosixStagedFile() override {
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
  }

  void putInPlace() override {
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) giveUp();
    temporary_.clear();
    flushFolder(folderOf(target_));
    removeStale(target_);
  }

 private:
  [[noreturn]] void giveUp() {
    const int reason = errno;
    ::unlink(temporary_.c_str());
    temporary_.clear();
    errno = reason;
    failWithErrno(file_);
  }

  const std::filesystem::path file_;
  const std::filesystem::path target_;
  std::string temporary_;  // empty once it is gone or in place
};

}  // namespace

std::optional<std::string> PosixFileStore::read(const std::filesystem::path& file) {
  // Not blocking: the name may be that of a pipe.
  const Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!descriptor.isOpen()) {
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
    failWithErrno(file);
  }
  struct stat status {};
  if (::fstat(descriptor.get(), &status) != 0) failWithErrno(file);
  if (!S_ISREG(status.st_mode)) fail(file, "is no regular file");
  if (static_cast<std::uintmax_t>(status.st_size) > largestFile) fail(file, "is over 64 MB");

  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t length = 0;
  while (length < bytes.size()) {
    const ssize_t count = ::read(descriptor.get(), bytes.data() + length, bytes.size() - length);
    if (count < 0 && errno != EINTR) failWithErrno(file);
    if (count == 0) break;
    if (count > 0) length += static_cast<std::size_t>(count);
  }
  bytes.resize(length);
  return bytes;
}

std::unique_ptr<StagedFile> PosixFileStore::stage(const std::filesystem::path& file,
                                                  std::string_view bytes) {
  return std::make_unique<PosixStagedFile>(file, bytes);
}

bool PosixFileStore::createFolder(const std::filesystem::path& folder) {
  if (!makeFolder(folder)) return false;
  std::error_code notOurs;
  std::filesystem::permissions(
      folder, std::filesystem::perms::group_all | std::filesystem::perms::others_all,
      std::filesystem::perm_options::remove, notOurs);
  return true;
}

}  // namespace halcyra

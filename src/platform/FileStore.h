#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace halcyra {

/// `what()` names the file and the system's reason.
class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// New content of a file that lies beside it, on the disk. Goes away with this object, unless it
/// was put in place.
class StagedFile {
 public:
  virtual ~StagedFile() = default;

  /// Replaces the file whole. Once only. Throws FileError and leaves the old file in place.
  virtual void putInPlace() = 0;
};

/// Whole small files of the user's own.
class FileStore {
 public:
  virtual ~FileStore() = default;

  /// The file's bytes, or nothing when there is no such file. Throws FileError when it is there but
  /// cannot be read.
  virtual std::optional<std::string> read(const std::filesystem::path& file) = 0;

  /// Replaces the file whole: a crash leaves the old or the new content, never half of one. The
  /// file is readable by its owner only (0600). Throws FileError and leaves the old file in place.
  void writeAtomically(const std::filesystem::path& file, std::string_view bytes) {
    stage(file, bytes)->putInPlace();
  }

  /// The greater part of writeAtomically in advance: what is left is no more than a rename. The
  /// result does not outlive the store. Throws FileError.
  virtual std::unique_ptr<StagedFile> stage(const std::filesystem::path& file,
                                            std::string_view bytes) = 0;

  /// Creates the folder with its parents, for its owner only (0700); takes away what others may do
  /// with one that is there. False when there is none afterwards.
  virtual bool createFolder(const std::filesystem::path& folder) = 0;
};

}  // namespace halcyra

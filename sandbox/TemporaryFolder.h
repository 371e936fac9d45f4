#pragma once

#include <filesystem>

namespace halcyra::sandbox {

/// A new folder under the system's one for temporary files, for its owner only; removed with all it
/// holds when the object goes.
class TemporaryFolder {
 public:
  /// Throws std::system_error.
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace halcyra::sandbox

#pragma once

#include <cstddef>

#include "platform/FileStore.h"

namespace halcyra {

/// Files of the file system. What stands behind a symbolic link is read and replaced, not the link.
class PosixFileStore : public FileStore {
 public:
  /// A larger file counts as unreadable.
  static constexpr std::size_t largestFile = std::size_t{64} << 20;

  std::optional<std::string> read(const std::filesystem::path& file) override;
  std::unique_ptr<StagedFile> stage(const std::filesystem::path& file,
                                    std::string_view bytes) override;
  bool createFolder(const std::filesystem::path& folder) override;
};

}  // namespace halcyra

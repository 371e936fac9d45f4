#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/FileStore.h"

namespace halcyra {

/// Files in a map, by full path, on a disk that can be made to fail.
class MemoryFiles : public FileStore {
 public:
  std::map<std::string, std::string> contents;
  std::set<std::string> unreadable;  // these are there, and reading them fails
  std::set<std::string> unwritable;
  bool isFull = false;               // every write fails
  std::vector<std::string> written;  // the names of the files written, in order

  std::optional<std::string> read(const std::filesystem::path& file) override {
    if (unreadable.contains(file)) throw FileError(file.string() + ": Permission denied");
    const auto found = contents.find(file);
    return found == contents.end() ? std::nullopt : std::optional(found->second);
  }

  void writeAtomically(const std::filesystem::path& file, std::string_view bytes) override {
    if (isFull) throw FileError(file.string() + ": No space left on device");
    if (unwritable.contains(file)) throw FileError(file.string() + ": Permission denied");
    contents[file] = bytes;
    written.push_back(file.filename());
  }

  bool createFolder(const std::filesystem::path&) override { return !isFull; }
};

}  // namespace halcyra

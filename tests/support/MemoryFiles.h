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
  std::vector<std::string> written;  // the names of the files put in place, in order
  std::size_t staged = 0;            // so many lie beside their files

  std::optional<std::string> read(const std::filesystem::path& file) override {
    if (unreadable.contains(file)) throw FileError(file.string() + ": Permission denied");
    const auto found = contents.find(file);
    return found == contents.end() ? std::nullopt : std::optional(found->second);
  }

  std::unique_ptr<StagedFile> stage(const std::filesystem::path& file,
                                    std::string_view bytes) override {
    if (isFull) throw FileError(file.string() + ": No space left on device");
    if (unwritable.contains(file)) throw FileError(file.string() + ": Permission denied");
    return std::make_unique<Staged>(*this, file, std::string(bytes));
  }

  bool createFolder(const std::filesystem::path&) override { return !isFull; }

 private:
  struct Staged : StagedFile {
    Staged(MemoryFiles& owner, std::string name, std::string bytes)
        : files(owner), file(std::move(name)), content(std::move(bytes)) {
      ++files.staged;
    }
    ~Staged() override { --files.staged; }
    void putInPlace() override {
      if (files.unwritable.contains(file)) throw FileError(file + ": Permission denied");
      files.contents[file] = content;
      files.written.push_back(std::filesystem::path(file).filename());
    }
    MemoryFiles& files;
    const std::string file;
    const std::string content;
  };
};

}  // namespace halcyra

#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "config/AppConfig.h"
#include "config/KeychainEnvelopeStorage.h"
#include "platform/FileStore.h"

namespace halcyra {

/// Owner of config.json and of the live configuration. Belongs to the main executor.
class ConfigStore {
 public:
  /// Loads, migrates and repairs `folder`/config.json; never fails. A file that cannot be used
  /// leaves the defaults in place, and its bytes are kept as config.unreadable.json (the next free
  /// of config.unreadable-2.json and so on, when that holds something else) before the first save.
  /// A file that is there but cannot be read at all is never replaced by this store. `files` and
  /// `secrets` must outlive the store.
  ConfigStore(FileStore& files, KeychainEnvelopeStorage& secrets,
              const std::filesystem::path& folder);

  const AppConfig& config() const { return config_; }

  /// Replaces the live value and tells the observer. Does not write the file.
  void setConfig(AppConfig config);

  /// Called after each change of the live value.
  void setObserver(std::function<void()> observer) { observer_ = std::move(observer); }

  /// Writes the live value. Throws FileError when the file, or the copy of an unusable one, cannot
  /// be written, and when the stored file could not be read; throws ConfigError for a number that
  /// JSON has no form for. The live value stays as it is.
  void save();

  const std::filesystem::path& file() const { return file_; }

  /// Why the stored file, or its list of rules, could not be used, with the place of the fault;
  /// empty when it could be or when there was none.
  const std::string& loadProblem() const { return loadProblem_; }

  /// With a load problem: do defaults stand in for the whole file, or for its rules only?
  bool usesDefaults() const { return usesDefaults_; }

  /// Where the text of a file that could not be used is kept; empty when none had to be.
  const std::filesystem::path& keptFile() const { return keptFile_; }

 private:
  void load();
  void decode(const std::string& text);
  void repair();
  void adopt(AppConfig repaired);
  void keepUnusable();
  bool holdsAnother(const std::filesystem::path& place, const std::string& text);

  FileStore& files_;
  KeychainEnvelopeStorage& secrets_;
  std::filesystem::path folder_;
  std::filesystem::path file_;
  AppConfig config_;
  std::function<void()> observer_;
  std::string loadProblem_;
  bool usesDefaults_ = false;
  bool isUnread_ = false;                    // the file is there and nobody knows what it holds
  std::optional<std::string> unusableText_;  // still to be kept beside the file
  std::filesystem::path keptFile_;
};

}  // namespace halcyra

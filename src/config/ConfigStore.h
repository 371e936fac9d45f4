#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "config/AppConfig.h"
#include "config/KeychainEnvelopeStorage.h"
#include "platform/FileStore.h"

namespace halcyra {

/// Owner of config.json and of the live configuration. Belongs to the main executor.
class ConfigStore {
 public:
  /// Loads, migrates and repairs `folder`/config.json; never fails. A file that cannot be used leaves
  /// the defaults in place, and its bytes are kept as config.unreadable.json before the first save.
  /// `files` and `secrets` must outlive the store.
  ConfigStore(FileStore& files, KeychainEnvelopeStorage& secrets,
              const std::filesystem::path& folder);

  const AppConfig& config() const { return config_; }

  /// Replaces the live value and tells the observer. Does not write the file.
  void setConfig(AppConfig config);

  /// Called after each change of the live value.
  void setObserver(std::function<void()> observer) { observer_ = std::move(observer); }

  /// Writes the live value. Throws FileError; the live value stays as it is.
  void save();

  const std::filesystem::path& file() const { return file_; }

  /// Why the stored file could not be used, with the place of the fault; empty when it could be or
  /// when there was none.
  const std::string& loadProblem() const { return loadProblem_; }

 private:
  void load();
  void repair();
  void keepUnreadable();

  FileStore& files_;
  KeychainEnvelopeStorage& secrets_;
  std::filesystem::path folder_;
  std::filesystem::path file_;
  AppConfig config_;
  std::function<void()> observer_;
  std::string loadProblem_;
  std::string unreadableBytes_;
};

}  // namespace halcyra

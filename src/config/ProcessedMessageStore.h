#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/FileStore.h"

namespace halcyra {

/// Key of a downloaded message: mailbox id, U+001E, Message-ID as the mail holds it.
std::string messageKey(std::string_view accountId, std::string_view messageID);

/// The file as one insert will leave it, beside the real one until then. Valid while no other key
/// is inserted.
struct PreparedInsert {
  std::string key;
  std::unique_ptr<StagedFile> file;
  std::size_t insertsBefore = 0;
};

/// The bounded, persistent set of messages that are finished with. Any thread may call; calls are
/// served one after the other, and an insert returns after the file was written.
class ProcessedMessageStore {
 public:
  static constexpr std::size_t maxEntries = 5000;

  /// Reads `folder`/processed-ids.json; a missing or damaged file is an empty set. `files` must
  /// outlive the store.
  ProcessedMessageStore(FileStore& files, const std::filesystem::path& folder);

  bool contains(const std::string& key) const;

  /// Adds the key, trims the set to its 4500 highest keys when it holds more than maxEntries, and
  /// writes the file. A failed write keeps the key in memory; the next insert writes it again.
  /// What was prepared makes the write a mere rename, if it is of this key and still valid.
  void insert(const std::string& key, PreparedInsert prepared = {});

  /// Writes ahead what an insert of the key will need. Records nothing, and leaves nothing behind
  /// when the result goes unused. Where that fails, the insert does it all.
  PreparedInsert prepare(const std::string& key);

  /// False while the last write failed, so that the file may lack keys that are in the set.
  bool isOnDisk() const;

 private:
  void add(std::string key);
  void trim();
  void save();
  bool putInPlace(PreparedInsert& prepared);
  std::string listText() const;

  FileStore& files_;
  std::filesystem::path file_;
  mutable std::mutex queue_;
  std::unordered_map<std::string, std::string> ids_;  // each with its JSON text, for quick saves
  std::size_t inserts_ = 0;
  bool isOnDisk_ = true;
};

}  // namespace halcyra

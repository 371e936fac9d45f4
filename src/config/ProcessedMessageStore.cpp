#include "config/ProcessedMessageStore.h"

#include <algorithm>
#include <vector>

#include "text/Json.h"

namespace halcyra {
namespace {

constexpr std::size_t entriesAfterTrim = 4500;

std::vector<std::string> idsOf(const std::string& text) {
  const nlohmann::json list = parseJson(text);
  const bool isListOfTexts =
      list.is_array() && std::all_of(list.begin(), list.end(),
                                     [](const nlohmann::json& id) { return id.is_string(); });
  return isListOfTexts ? list.get<std::vector<std::string>>() : std::vector<std::string>();
}

}  // namespace

std::string messageKey(std::string_view accountId, std::string_view messageID) {
  return std::string(accountId) + "\x1E" + std::string(messageID);
}

ProcessedMessageStore::ProcessedMessageStore(FileStore& files, const std::filesystem::path& folder)
    : files_(files), file_(folder / "processed-ids.json") {
  files_.createFolder(folder);  // without it, writes fail later
  try {
    if (const auto text = files_.read(file_)) {
      for (std::string& id : idsOf(*text)) add(std::move(id));
    }
  } catch (const std::runtime_error&) {
    // Unreadable or no JSON: the same as no file.
  }
}

bool ProcessedMessageStore::contains(const std::string& key) const {
  const std::scoped_lock hold(queue_);
  return ids_.contains(key);
}

void ProcessedMessageStore::insert(const std::string& key, PreparedInsert prepared) {
  const std::scoped_lock hold(queue_);
  add(key);
  trim();
  isOnDisk_ = prepared.key == key && prepared.insertsBefore == inserts_ && putInPlace(prepared);
  if (!isOnDisk_) save();
  ++inserts_;
}

PreparedInsert ProcessedMessageStore::prepare(const std::string& key) {
  const std::scoped_lock hold(queue_);
  if (ids_.contains(key) || ids_.size() >= maxEntries) return {};
  std::string list = listText();
  list.pop_back();
  if (!ids_.empty()) list += ',';
  list += jsonText(key) + "]";
  try {
    return {key, files_.stage(file_, list), inserts_};
  } catch (const FileError&) {
    return {};
  }
}

bool ProcessedMessageStore::isOnDisk() const {
  const std::scoped_lock hold(queue_);
  return isOnDisk_;
}

void ProcessedMessageStore::add(std::string key) {
  std::string text = jsonText(key);
  ids_.emplace(std::move(key), std::move(text));
}

// Goes by the order of the keys, not by age: the set stays a plain list of texts on disk.
void ProcessedMessageStore::trim() {
  if (ids_.size() <= maxEntries) return;
  std::vector<std::string_view> keys;
  keys.reserve(ids_.size());
  for (const auto& [key, text] : ids_) keys.push_back(key);
  const auto lowestKept =
      keys.begin() + static_cast<std::ptrdiff_t>(keys.size() - entriesAfterTrim);
  std::nth_element(keys.begin(), lowestKept, keys.end());
  const std::string lowest(*lowestKept);
  std::erase_if(ids_, [&](const auto& entry) { return entry.first < lowest; });
}

std::string ProcessedMessageStore::listText() const {
  std::string list = "[";
  for (const auto& [key, text] : ids_) {
    if (list.size() > 1) list += ',';
    list += text;
  }
  list += ']';
  return list;
}

bool ProcessedMessageStore::putInPlace(PreparedInsert& prepared) {
  if (!prepared.file) return false;
  try {
    prepared.file->putInPlace();
    return true;
  } catch (const FileError&) {
    return false;
  }
}

void ProcessedMessageStore::save() {
  try {
    files_.writeAtomically(file_, listText());
    isOnDisk_ = true;
  } catch (const FileError&) {
    // The key stays in memory, and the next insert writes everything again.
  }
}

}  // namespace halcyra

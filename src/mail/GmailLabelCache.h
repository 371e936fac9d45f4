#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// The label ids that tags have at Gmail, so that a tag in use costs no request. One for the whole
/// program; nothing is ever forgotten. Any thread may call.
class GmailLabelCache {
 public:
  /// `tag` is trimmed.
  std::optional<std::string> find(std::string_view accountId, std::string_view tag) const;
  void insert(std::string_view accountId, std::string_view tag, std::string labelId);

 private:
  mutable std::mutex lock_;
  std::map<std::string, std::string> ids_;
};

}  // namespace halcyra

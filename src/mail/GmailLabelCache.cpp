#include "mail/GmailLabelCache.h"

namespace halcyra {
namespace {

// With a record separator, which no mailbox id holds.
std::string keyOf(std::string_view accountId, std::string_view tag) {
  return std::string(accountId).append("\x1E").append(tag);
}

}  // namespace

std::optional<std::string> GmailLabelCache::find(std::string_view accountId,
                                                 std::string_view tag) const {
  const std::lock_guard guard(lock_);
  const auto found = ids_.find(keyOf(accountId, tag));
  if (found == ids_.end()) return std::nullopt;
  return found->second;
}

void GmailLabelCache::insert(std::string_view accountId, std::string_view tag,
                             std::string labelId) {
  const std::lock_guard guard(lock_);
  ids_.insert_or_assign(keyOf(accountId, tag), std::move(labelId));
}

}  // namespace halcyra

#include "platform/linux/TlsSessions.h"

namespace halcyra {

void TlsSessions::keep(const Endpoint& peer, ResumableSession session) {
  latest_.insert_or_assign({peer.host, peer.port}, std::move(session));
}

std::optional<ResumableSession> TlsSessions::take(const Endpoint& peer) {
  const auto found = latest_.extract({peer.host, peer.port});
  if (!found) return std::nullopt;
  // The clock may have been set back.
  const auto age = std::chrono::abs(std::chrono::system_clock::now() - found.mapped().checkedAt);
  if (age > longestWithoutCheck) return std::nullopt;
  return std::move(found.mapped());
}

}  // namespace halcyra

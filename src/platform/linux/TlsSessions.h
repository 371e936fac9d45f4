#pragma once

#include <openssl/ssl.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/ByteStream.h"

namespace halcyra {

struct FreeTlsSession {
  void operator()(SSL_SESSION* session) const { SSL_SESSION_free(session); }
};
using TlsSession = std::unique_ptr<SSL_SESSION, FreeTlsSession>;

/// What the next connection to a peer may go on with, so that no certificate is sent and checked
/// anew (RFC 8446, section 2.2; RFC 5077). Only the host and port whose certificate was checked get
/// it back, and only once (RFC 8446, appendix C.4). One for each peer is kept, the latest.
class TlsSessions {
 public:
  void keep(const Endpoint& peer, TlsSession session) {
    latest_[{peer.host, peer.port}] = std::move(session);
  }

  /// Null when there is none.
  TlsSession take(const Endpoint& peer) {
    const auto node = latest_.extract({peer.host, peer.port});
    return node ? std::move(node.mapped()) : nullptr;
  }

 private:
  std::map<std::pair<std::string, std::uint16_t>, TlsSession> latest_;
};

}  // namespace halcyra

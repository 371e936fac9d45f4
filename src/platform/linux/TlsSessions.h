#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/ByteStream.h"

namespace halcyra {

struct FreeTlsSession {
  void operator()(SSL_SESSION* session) const { SSL_SESSION_free(session); }
};
using TlsSession = std::unique_ptr<SSL_SESSION, FreeTlsSession>;

/// What a further connection to a peer may go on with, so that no certificate is sent and checked
/// anew (RFC 8446, section 2.2; RFC 5077; RFC 5246, section 7.3).
struct ResumableSession {
  TlsSession session;
  /// When the peer's certificate was checked, in an earlier connection of the same session perhaps.
  std::chrono::system_clock::time_point checkedAt;
};

/// The latest session of each peer. Only the host and port whose certificate was checked get it
/// back: OpenSSL checks no name then. Only once, so that connections cannot be told to be the same
/// client's (RFC 8446, appendix C.4), and not for long, since certificates expire.
class TlsSessions {
 public:
  static constexpr std::chrono::hours longestWithoutCheck{1};

  void keep(const Endpoint& peer, ResumableSession session);

  /// Nothing when there is none.
  std::optional<ResumableSession> take(const Endpoint& peer);

 private:
  std::map<std::pair<std::string, std::uint16_t>, ResumableSession> latest_;
};

}  // namespace halcyra

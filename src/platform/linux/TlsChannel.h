#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "platform/linux/SocketChannel.h"
#include "platform/linux/TlsSessions.h"

namespace halcyra {

/// What all TLS connections of the program share: TLS 1.2 or later, the sessions to go on with, and
/// the system's trust store, which is OpenSSL's default; its environment variables SSL_CERT_FILE
/// and SSL_CERT_DIR name another.
class TlsContext {
 public:
  /// Throws StreamError.
  TlsContext();

  SSL_CTX* get() const { return context_.get(); }
  const std::shared_ptr<TlsSessions>& sessions() const { return sessions_; }

 private:
  struct Free {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  };
  std::unique_ptr<SSL_CTX, Free> context_;
  std::shared_ptr<TlsSessions> sessions_ = std::make_shared<TlsSessions>();
};

/// TLS (RFC 8446, RFC 5246) as a client, with a check of the certificate against the peer's host
/// name or address (RFC 6125), or with a session in which it was checked. OpenSSL works on the
/// socket directly, so that waiting is only ever for the socket and a wait that ends early leaves
/// the TLS state whole.
class TlsChannel : public SocketChannel {
 public:
  /// Throws StreamError. The socket must stay open as long as the channel is used.
  TlsChannel(const TlsContext& context, int socket, Endpoint peer);

  SocketTry open() override;
  SocketTry read(std::span<char> room) override;
  SocketTry write(std::string_view bytes) override;
  bool holdsBytes() const override;

  /// For TlsContext: OpenSSL's call with a session that the peer offers for later connections.
  static int keepSession(SSL* connection, SSL_SESSION* session);

  /// What OpenSSL's calls on the socket find and leave.
  struct Wire {
    int socket = -1;
    int systemError = 0;
    bool ended = false;
  };

 private:
  struct Free {
    void operator()(SSL* connection) const;
  };

  void nameThePeer();
  void offerEarlierSession();
  void keep(TlsSession session);
  SocketTry outcome(int result, std::size_t count);
  std::string reason() const;

  Endpoint peer_;
  Wire wire_;
  std::shared_ptr<TlsSessions> sessions_;
  // Sessions can come long after the handshake, so the certificate counts as checked at its start.
  std::chrono::system_clock::time_point checkedAt_ = std::chrono::system_clock::now();
  std::chrono::system_clock::time_point checkedEarlierAt_;  // in the session that is offered
  std::unique_ptr<SSL, Free> connection_;
};

}  // namespace halcyra

#pragma once

#include <openssl/ssl.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace halcyra {

/// A certificate with its key, made on the spot. The files of an authority can be trusted through
/// SSL_CERT_FILE.
struct Certificate {
  std::shared_ptr<X509> x509;
  std::shared_ptr<EVP_PKEY> key;

  static Certificate authority(const char* name = "Test authority");
  /// `names` as in "DNS:localhost,IP:127.0.0.1"; valid from `fromDays` to `toDays` around now.
  static Certificate issued(const Certificate& by, const std::string& names, int fromDays = -1,
                            int toDays = 1);
  void writeTo(const std::string& file) const;
};

/// The server's end of one connection, on its own thread; calls block.
class ServerSide {
 public:
  ServerSide(int socket, SSL* session) : socket_(socket), session_(session) {}
  void write(const std::string& bytes);
  /// Reads exactly so many bytes; fewer when the client has closed.
  std::string read(std::size_t size);
  /// The client goes on with an earlier TLS session.
  bool resumes() const { return session_ && SSL_session_reused(session_) == 1; }

 private:
  int socket_;
  SSL* session_;
};

/// How a LoopbackServer takes connections; with a certificate they have TLS.
struct Reception {
  const Certificate* certificate = nullptr;
  int connections = 1;
  int newestTLS = TLS1_3_VERSION;
};

/// Serves connections on a loopback port, one after the other; ends with its destructor.
class LoopbackServer {
 public:
  using Serve = std::function<void(ServerSide&)>;
  explicit LoopbackServer(Serve serve, Reception reception = {});
  ~LoopbackServer();

  std::uint16_t port() const { return port_; }

 private:
  void run(const Serve& serve, Reception reception);

  int listener_;
  std::uint16_t port_ = 0;
  std::thread thread_;
};

}  // namespace halcyra

#include "platform/linux/TlsChannel.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/sslerr.h>
#include <openssl/x509v3.h>

#include <boost/asio/ip/address.hpp>
#include <cerrno>

#include "text/Case.h"

namespace halcyra {
namespace {

using Wire = TlsChannel::Wire;

Wire& wireOf(BIO* bio) {
  return *static_cast<Wire*>(BIO_get_data(bio));
}

// OpenSSL's own socket BIO uses write(), which raises SIGPIPE; this one goes through sendNow.
int noted(BIO* bio, long count, int retryFlag) {
  BIO_clear_retry_flags(bio);
  if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
    BIO_set_flags(bio, retryFlag | BIO_FLAGS_SHOULD_RETRY);
  } else if (count < 0) {
    wireOf(bio).systemError = errno;
  }
  return static_cast<int>(count);
}

int wireWrite(BIO* bio, const char* bytes, int size) {
  const long count = sendNow(wireOf(bio).socket, {bytes, static_cast<std::size_t>(size)});
  return noted(bio, count, BIO_FLAGS_WRITE);
}

int wireRead(BIO* bio, char* room, int size) {
  const long count = receiveNow(wireOf(bio).socket, {room, static_cast<std::size_t>(size)});
  if (count == 0) wireOf(bio).ended = true;
  return noted(bio, count, BIO_FLAGS_READ);
}

long wireControl(BIO* bio, int command, long, void*) {
  if (command == BIO_CTRL_FLUSH) return 1;
  if (command == BIO_CTRL_EOF) return wireOf(bio).ended;
  return 0;
}

BIO_METHOD* wireMethod() {
  static BIO_METHOD* const method = [] {
    BIO_METHOD* made = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "socket");
    BIO_meth_set_write(made, wireWrite);
    BIO_meth_set_read(made, wireRead);
    BIO_meth_set_ctrl(made, wireControl);
    return made;
  }();
  return method;
}

StreamError noTls(const std::string& reason) {
  return StreamError("TLS cannot be set up: " + reason + ".");
}

bool isAddress(const std::string& host) {
  boost::system::error_code error;
  boost::asio::ip::make_address(host, error);
  return !error;
}

}  // namespace

TlsContext::TlsContext() : context_(SSL_CTX_new(TLS_client_method())) {
  if (!context_) throw noTls("the library does not start");
  SSL_CTX_set_min_proto_version(get(), TLS1_2_VERSION);
  if (SSL_CTX_set_default_verify_paths(get()) != 1) throw noTls("there is no trust store");
  SSL_CTX_set_verify(get(), SSL_VERIFY_PEER, nullptr);
  // Many mail servers close without a goodbye. That is an end like any other here, since IMAP and
  // SMTP say themselves where an answer is complete.
  SSL_CTX_set_options(get(), SSL_OP_IGNORE_UNEXPECTED_EOF);
  SSL_CTX_set_mode(get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  SSL_CTX_set_read_ahead(get(), 1);
  SSL_CTX_set_session_cache_mode(get(), SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
  SSL_CTX_sess_set_new_cb(get(), TlsChannel::keepSession);
}

TlsChannel::TlsChannel(const TlsContext& context, int socket, Endpoint peer)
    : peer_(std::move(peer)),
      wire_{.socket = socket},
      sessions_(context.sessions()),
      connection_(SSL_new(context.get())) {
  BIO* const bio = connection_ ? BIO_new(wireMethod()) : nullptr;
  if (!bio) throw noTls("no memory");
  BIO_set_data(bio, &wire_);
  BIO_set_init(bio, 1);
  SSL_set_bio(connection_.get(), bio, bio);
  SSL_set_connect_state(connection_.get());
  nameThePeer();
  offerEarlierSession();
}

// The closing of a connection sends no goodbye of TLS, since SMTP and IMAP have their own. OpenSSL
// would give the session up then, so it is told that there was one.
void TlsChannel::Free::operator()(SSL* connection) const {
  SSL_set_shutdown(connection, SSL_SENT_SHUTDOWN);
  SSL_free(connection);
}

// A server that does not go on with it makes a session of its own.
void TlsChannel::offerEarlierSession() {
  if (SSL_set_app_data(connection_.get(), this) != 1) throw noTls("no memory");
  const std::optional<ResumableSession> earlier = sessions_->take(peer_);
  if (!earlier) return;
  SSL_set_session(connection_.get(), earlier->session.get());
  checkedEarlierAt_ = earlier->checkedAt;
}

int TlsChannel::keepSession(SSL* connection, SSL_SESSION* session) {
  static_cast<TlsChannel*>(SSL_get_app_data(connection))->keep(TlsSession(session));
  return 1;  // the session is ours now
}

// OpenSSL calls this, which no exception may pass.
void TlsChannel::keep(TlsSession session) {
  const bool resumes = SSL_session_reused(connection_.get()) == 1;
  const auto checkedAt = resumes ? checkedEarlierAt_ : checkedAt_;
  try {
    sessions_->keep(peer_, {std::move(session), checkedAt});
  } catch (const std::bad_alloc&) {  // the next connection starts anew
  }
}

void TlsChannel::nameThePeer() {
  const char* const host = peer_.host.c_str();
  if (isAddress(peer_.host)) {
    if (X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(connection_.get()), host) == 1) return;
  } else {
    SSL_set_hostflags(connection_.get(), X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    if (SSL_set1_host(connection_.get(), host) == 1 &&
        SSL_set_tlsext_host_name(connection_.get(), host) == 1) {
      return;
    }
  }
  throw noTls("the host name " + peer_.host + " cannot be used");
}

SocketTry TlsChannel::open() {
  ERR_clear_error();
  const SocketTry attempt = outcome(SSL_do_handshake(connection_.get()), 0);
  if (attempt.result != SocketTry::Result::finished) return attempt;
  throw StreamError("No TLS connection with " + peerText(peer_) +
                    ": the server closed the connection.");
}

SocketTry TlsChannel::read(std::span<char> room) {
  ERR_clear_error();
  std::size_t count = 0;
  const int result = SSL_read_ex(connection_.get(), room.data(), room.size(), &count);
  return outcome(result, count);
}

SocketTry TlsChannel::write(std::string_view bytes) {
  ERR_clear_error();
  std::size_t count = 0;
  const int result = SSL_write_ex(connection_.get(), bytes.data(), bytes.size(), &count);
  return outcome(result, count);
}

bool TlsChannel::holdsBytes() const {
  return SSL_has_pending(connection_.get()) == 1;
}

SocketTry TlsChannel::outcome(int result, std::size_t count) {
  if (result == 1) return {SocketTry::Result::moved, count};
  switch (SSL_get_error(connection_.get(), result)) {
    case SSL_ERROR_WANT_READ:
      return {SocketTry::Result::needsReadable};
    case SSL_ERROR_WANT_WRITE:
      return {SocketTry::Result::needsWritable};
    case SSL_ERROR_ZERO_RETURN:
      return {SocketTry::Result::finished};
    default:
      break;
  }
  const long verified = SSL_get_verify_result(connection_.get());
  if (verified != X509_V_OK) {
    throw StreamError("The certificate of " + peerText(peer_) +
                      " does not fit: " + X509_verify_cert_error_string(verified) + ".");
  }
  if (SSL_is_init_finished(connection_.get())) {
    throw StreamError("The connection to " + peerText(peer_) + " broke: " + reason() + ".");
  }
  throw StreamError("No TLS connection with " + peerText(peer_) + ": " + reason() + ".");
}

std::string TlsChannel::reason() const {
  if (wire_.systemError != 0) return reasonText(wire_.systemError);
  const unsigned long error = ERR_peek_error();
  if (ERR_GET_LIB(error) == ERR_LIB_SSL && ERR_GET_REASON(error) == SSL_R_WRONG_VERSION_NUMBER) {
    return "the server does not speak TLS there";
  }
  const char* const text = ERR_reason_error_string(error);
  return text ? text : "the connection ended";
}

}  // namespace halcyra

#include "LoopbackServer.h"

#include <arpa/inet.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace halcyra {
namespace {

constexpr long day = 24 * 3600;

Certificate unsignedCertificate(const char* name, int fromDays, int toDays) {
  static long serial = 0;
  Certificate made{{X509_new(), X509_free}, {EVP_EC_gen("P-256"), EVP_PKEY_free}};
  X509* const x509 = made.x509.get();
  X509_set_version(x509, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(x509), ++serial);
  X509_gmtime_adj(X509_getm_notBefore(x509), fromDays * day);
  X509_gmtime_adj(X509_getm_notAfter(x509), toDays * day);
  X509_set_pubkey(x509, made.key.get());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(x509), "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
  return made;
}

void extend(X509* x509, int extension, const std::string& value) {
  X509_EXTENSION* made = X509V3_EXT_conf_nid(nullptr, nullptr, extension, value.c_str());
  X509_add_ext(x509, made, -1);
  X509_EXTENSION_free(made);
}

std::shared_ptr<SSL_CTX> contextOf(const Reception& reception) {
  std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  SSL_CTX_set_max_proto_version(context.get(), reception.newestTLS);
  SSL_CTX_use_certificate(context.get(), reception.certificate->x509.get());
  SSL_CTX_use_PrivateKey(context.get(), reception.certificate->key.get());
  return context;
}

}  // namespace

Certificate Certificate::authority(const char* name) {
  Certificate made = unsignedCertificate(name, -10, 10);
  X509_set_issuer_name(made.x509.get(), X509_get_subject_name(made.x509.get()));
  extend(made.x509.get(), NID_basic_constraints, "critical,CA:TRUE");
  X509_sign(made.x509.get(), made.key.get(), EVP_sha256());
  return made;
}

Certificate Certificate::issued(const Certificate& by, const std::string& names, int fromDays,
                                int toDays) {
  Certificate made = unsignedCertificate("Test server", fromDays, toDays);
  X509_set_issuer_name(made.x509.get(), X509_get_subject_name(by.x509.get()));
  extend(made.x509.get(), NID_subject_alt_name, names);
  X509_sign(made.x509.get(), by.key.get(), EVP_sha256());
  return made;
}

void Certificate::writeTo(const std::string& file) const {
  const std::shared_ptr<BIO> out(BIO_new_file(file.c_str(), "w"), BIO_free);
  if (!out || PEM_write_bio_X509(out.get(), x509.get()) != 1) throw std::runtime_error(file);
}

void ServerSide::write(const std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const auto size = static_cast<int>(bytes.size() - done);
    const long count = session_ ? SSL_write(session_, bytes.data() + done, size)
                                : ::send(socket_, bytes.data() + done, size, MSG_NOSIGNAL);
    if (count <= 0) return;
    done += static_cast<std::size_t>(count);
  }
}

std::string ServerSide::read(std::size_t size) {
  std::string bytes(size, '\0');
  std::size_t done = 0;
  while (done < size) {
    const auto rest = static_cast<int>(size - done);
    const long count = session_ ? SSL_read(session_, bytes.data() + done, rest)
                                : ::recv(socket_, bytes.data() + done, rest, 0);
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  bytes.resize(done);
  return bytes;
}

LoopbackServer::LoopbackServer(Serve serve, Reception reception)
    : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      ::listen(listener_, 1) != 0 ||
      ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("no loopback port");
  }
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this, serve = std::move(serve), reception] { run(serve, reception); });
}

LoopbackServer::~LoopbackServer() {
  ::shutdown(listener_, SHUT_RDWR);  // ends an accept that nobody came for
  thread_.join();
  ::close(listener_);
}

void LoopbackServer::run(const Serve& serve, Reception reception) {
  // OpenSSL's own sockets raise SIGPIPE; only the client's end is to live with the default.
  sigset_t broken;
  sigemptyset(&broken);
  sigaddset(&broken, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &broken, nullptr);
  const std::shared_ptr<SSL_CTX> context = reception.certificate ? contextOf(reception) : nullptr;
  while (reception.connections-- > 0) {
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) return;
    const std::shared_ptr<SSL> session(context ? SSL_new(context.get()) : nullptr, SSL_free);
    if (session) SSL_set_fd(session.get(), socket);
    ServerSide side(socket, session.get());
    if (!session || SSL_accept(session.get()) == 1) serve(side);
    ::close(socket);
  }
}

}  // namespace halcyra

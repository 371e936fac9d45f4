#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/ChildProcess.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra::sandbox {

struct DovecotUser {
  std::string name;
  std::string password;
};

struct DovecotOptions {
  std::vector<DovecotUser> users;
  /// With a name there is a TLS port too, with a certificate for that DNS name.
  std::string tlsHostName = {};
};

/// A Dovecot of our own: IMAP on loopback ports, Maildir storage in a temporary folder, an ordinary
/// account (where the starter is root it runs as "dovecot"). It ends and its folder goes with this
/// object; it also ends when the thread that made it ends.
class DovecotServer {
 public:
  using Moment = std::chrono::system_clock::time_point;

  /// Returns when the server takes connections. Throws std::runtime_error with the server's log
  /// when it does not come up within 20 seconds.
  explicit DovecotServer(DovecotOptions options);
  ~DovecotServer();

  std::uint16_t port() const { return port_; }
  std::uint16_t tlsPort() const { return tlsPort_; }
  /// The authority that signed the TLS certificate, as a PEM file.
  const std::filesystem::path& authorityFile() const { return authority_; }

  /// Puts a message into the user's inbox as a delivery agent does, at once and whole.
  /// `deliveredAt` becomes its IMAP INTERNALDATE.
  void deliver(const std::string& user, std::string_view message,
               Moment deliveredAt = std::chrono::system_clock::now(), bool seen = false);

  /// The flags of each message of the user's inbox as the server stores them (Maildir letters in
  /// ascending order, S is \Seen), by Message-ID.
  std::map<std::string, std::string> flags(const std::string& user) const;

  /// Does the server hold \Seen for the message?
  bool seen(const std::string& user, const std::string& messageID) const;

  /// Does a connection of this user wait in IDLE right now?
  bool idles(const std::string& user) const;

  /// What the server logged.
  std::string log() const;

  /// Ends the server and its connections. A further call does nothing.
  void stop();

 private:
  void choosePorts(bool encrypts);
  void writeSettings(const DovecotOptions& options) const;
  void startSomewhere(const DovecotOptions& options);
  void start();
  bool answers() const;
  std::filesystem::path inbox(const std::string& user) const;
  void giveToServer(const std::filesystem::path& path) const;

  TemporaryFolder folder_;
  std::uint16_t port_ = 0;
  std::uint16_t tlsPort_ = 0;
  std::filesystem::path authority_;
  uid_t user_;
  gid_t group_;
  unsigned deliveries_ = 0;
  std::unique_ptr<ChildProcess> process_;
};

/// A TCP port of 127.0.0.1 that nobody uses right now.
std::uint16_t freeLoopbackPort();

}  // namespace halcyra::sandbox

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/ChildProcess.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra::sandbox {

struct SubmissionUser {
  std::string name;
  std::string password;
};

struct SubmissionOptions {
  std::vector<SubmissionUser> users;
  /// With a name there is a port with TLS too, with a certificate for that DNS name.
  std::string tlsHostName = {};
};

/// A message as the server got it.
struct SubmittedMessage {
  /// Who logged in.
  std::string user;
  std::string from;
  std::string to;
  /// Byte for byte, without the end mark. Dots that begin a line are taken for stuffed ones.
  std::string data;

  bool operator==(const SubmittedMessage&) const = default;
};

/// A submission server of our own on loopback ports (Debian's aiosmtpd): AUTH LOGIN, no relaying;
/// messages stay in a temporary folder. It runs as an ordinary account (where the starter is root
/// as "nobody"). It ends and its folder goes with this object; it also ends when the thread that
/// made it ends.
class SubmissionServer {
 public:
  /// Returns when the server takes connections. Throws std::runtime_error with the server's words
  /// when it does not come up within 20 seconds.
  explicit SubmissionServer(const SubmissionOptions& options);
  ~SubmissionServer();

  std::uint16_t port() const { return port_; }
  std::uint16_t tlsPort() const { return tlsPort_; }
  /// The authority that signed the TLS certificate, as a PEM file.
  const std::filesystem::path& authorityFile() const { return authority_; }

  /// All messages so far in the order of arrival. One that a client knows as accepted is among
  /// them.
  std::vector<SubmittedMessage> received() const;

  /// Ends the server and its connections. A further call does nothing.
  void stop();

 private:
  void writeUsers(const std::vector<SubmissionUser>& users) const;
  void giveTo(uid_t user, gid_t group) const;
  void start(Command command);
  std::uint16_t announcedPort();

  TemporaryFolder folder_;
  std::uint16_t port_ = 0;
  std::uint16_t tlsPort_ = 0;
  std::filesystem::path authority_;
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace halcyra::sandbox

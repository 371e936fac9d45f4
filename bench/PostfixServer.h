#pragma once

#include <cstdint>
#include <memory>

#include "sandbox/ChildProcess.h"
#include "sandbox/DovecotServer.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra::bench {

/// A Postfix of our own on a loopback port: TLS from the first byte, AUTH, and every message is
/// thrown away once it is accepted. It needs root. It ends and its folder goes with this object.
class PostfixServer {
 public:
  /// Takes users and certificate of `accounts`, which must outlive it and has a TLS port. Throws
  /// std::runtime_error when Postfix does not come up within 30 seconds.
  explicit PostfixServer(const sandbox::DovecotServer& accounts);
  ~PostfixServer();

  std::uint16_t port() const { return port_; }

  /// Messages that were accepted so far.
  std::size_t accepted() const;

 private:
  void writeSettings(const std::filesystem::path& accounts) const;
  std::string log() const;

  sandbox::TemporaryFolder folder_;
  std::uint16_t port_;
  std::unique_ptr<sandbox::ChildProcess> process_;
};

}  // namespace halcyra::bench

#pragma once

#include <memory>
#include <optional>
#include <string>

#include "sandbox/ChildProcess.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra {

/// Sets an environment variable, or takes it away, for the lifetime of the object.
class ScopedVariable {
 public:
  ScopedVariable(std::string name, std::optional<std::string> value);
  ~ScopedVariable();
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  std::string name_;
  std::optional<std::string> before_;
};

/// A session bus of its own, on which nothing is started by itself. For its lifetime
/// DBUS_SESSION_BUS_ADDRESS names that bus.
class DBusSession {
 public:
  /// Throws std::runtime_error.
  DBusSession();

  /// Where the bus listens.
  const std::string& address() const { return address_; }

  /// Waits until a service has taken the name; throws std::runtime_error after 20 seconds.
  void awaitOwner(const std::string& name);

 private:
  std::string configFile();

  sandbox::TemporaryFolder folder_;
  sandbox::ChildProcess daemon_;
  std::string address_;
  ScopedVariable variable_;
};

}  // namespace halcyra

#pragma once

#include <optional>

#include "sandbox/ChildProcess.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra {

/// A gnome-keyring-daemon whose login collection is unlocked and empty, on a session bus that the
/// test process starts for itself and keeps to its end (libraries share one connection to it within
/// the process). DBUS_SESSION_BUS_ADDRESS names that bus. Throws std::runtime_error when one of the
/// two does not start.
class KeyringSession {
 public:
  enum class Daemon { keyring, none };

  explicit KeyringSession(Daemon daemon = Daemon::keyring);
  ~KeyringSession();

  /// Locks the login collection.
  void lock();

  /// Ends the daemon and starts it again on the same files; without the password the collection
  /// stays locked.
  void restartKeyringLocked();

 private:
  void startKeyring(bool unlocks);
  void endKeyring();

  sandbox::TemporaryFolder home_;
  std::optional<sandbox::ChildProcess> daemon_;
};

}  // namespace halcyra

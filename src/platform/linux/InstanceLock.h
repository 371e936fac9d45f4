#pragma once

#include <filesystem>
#include <string>

namespace halcyra {

/// Keeps a second process from doing the same on the same files. The system releases the lock when
/// the process ends, however it ends.
class InstanceLock {
 public:
  /// Throws std::runtime_error with the given text when another process holds the lock. Where the
  /// file cannot be made (a folder that is read-only), nothing is locked.
  InstanceLock(const std::filesystem::path& file, const std::string& takenText);
  /// Waits until no other process holds the lock.
  explicit InstanceLock(const std::filesystem::path& file);
  ~InstanceLock();
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;

 private:
  int descriptor_;
};

}  // namespace halcyra

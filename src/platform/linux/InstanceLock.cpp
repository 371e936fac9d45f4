#include "platform/linux/InstanceLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace halcyra {
namespace {

int opened(const std::filesystem::path& file) {
  return open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
}

}  // namespace

InstanceLock::InstanceLock(const std::filesystem::path& file, const std::string& takenText)
    : descriptor_(opened(file)) {
  if (descriptor_ < 0 || flock(descriptor_, LOCK_EX | LOCK_NB) == 0) return;
  const bool taken = errno == EWOULDBLOCK;
  close(descriptor_);
  descriptor_ = -1;
  if (taken) throw std::runtime_error(takenText);
}

InstanceLock::InstanceLock(const std::filesystem::path& file) : descriptor_(opened(file)) {
  while (descriptor_ >= 0 && flock(descriptor_, LOCK_EX) != 0 && errno == EINTR) {
  }
}

InstanceLock::~InstanceLock() {
  if (descriptor_ >= 0) close(descriptor_);
}

}  // namespace halcyra

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>

#include "cli/MonitorFace.h"

namespace halcyra {

void WholeOutput::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      const std::string reason = std::strerror(errno);
      failed_ = true;
      // Nobody reads any more: without a clean stop every poll would ask the model in vain.
      if (errno == EPIPE) std::raise(SIGTERM);
      throw std::runtime_error("standard output cannot be written: " + reason);
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace halcyra

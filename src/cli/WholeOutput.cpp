#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "cli/MonitorFace.h"

namespace halcyra {

void WholeOutput::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      failed_ = true;
      throw std::runtime_error(std::string("standard output cannot be written: ") +
                               std::strerror(errno));
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace halcyra

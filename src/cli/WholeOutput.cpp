#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>

#include "cli/MonitorFace.h"
#include "platform/linux/WriteAll.h"

namespace halcyra {

void WholeOutput::write(std::string_view text) {
  if (writeAll(STDOUT_FILENO, text)) return;
  const int reason = errno;
  failed_ = true;
  // Nobody reads any more: without a clean stop every poll would ask the model in vain.
  if (reason == EPIPE) std::raise(SIGTERM);
  throw std::runtime_error(std::string("standard output cannot be written: ") +
                           std::strerror(reason));
}

}  // namespace halcyra

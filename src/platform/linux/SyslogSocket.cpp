#include "platform/linux/SyslogSocket.h"

#include <syslog.h>
#include <unistd.h>

#include <ctime>
#include <utility>

namespace halcyra {

SyslogSocket::SyslogSocket(std::string path) : datagrams_(std::move(path)) {}

void SyslogSocket::send(const std::string& line) const {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char time[32];
  const std::size_t length = std::strftime(time, sizeof time, "%b %e %H:%M:%S", &local);
  datagrams_.send("<" + std::to_string(LOG_USER | LOG_NOTICE) + ">" + std::string(time, length) +
                  " halcyra[" + std::to_string(getpid()) + "]: " + line);
}

}  // namespace halcyra

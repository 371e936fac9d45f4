#include "cli/TerminalLines.h"

#include <fcntl.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/redirect_error.hpp>

#include "text/Utf8.h"

namespace halcyra {

int openTerminal() {
  return open("/dev/tty", O_RDONLY | O_NOCTTY | O_CLOEXEC);
}

Task<std::optional<std::string>> TerminalLines::next() {
  constexpr std::size_t longestLine = 64u << 10;
  boost::system::error_code failed;
  const std::size_t length = co_await boost::asio::async_read_until(
      input_, boost::asio::dynamic_buffer(buffer_, longestLine), '\n',
      boost::asio::redirect_error(boost::asio::use_awaitable, failed));
  if (failed) co_return std::nullopt;
  std::string line = buffer_.substr(0, length - 1);
  buffer_.erase(0, length);
  co_return repairedUtf8(std::move(line));
}

void TerminalLines::close() {
  boost::system::error_code ignored;
  input_.close(ignored);
}

}  // namespace halcyra

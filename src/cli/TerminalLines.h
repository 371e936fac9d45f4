#pragma once

#include <boost/asio/posix/stream_descriptor.hpp>
#include <optional>
#include <string>

#include "platform/Task.h"

namespace halcyra {

/// A description of the controlling terminal apart from standard input's, or -1 without one. The
/// terminals of standard input and output are often one description, and a reader that may not
/// block makes its own non-blocking, after which plain writes would fail.
int openTerminal();

/// What a person types, line by line.
class TerminalLines {
 public:
  /// Takes the descriptor over and makes it non-blocking. Belongs to the executor.
  TerminalLines(Executor executor, int descriptor) : input_(executor, descriptor) {}

  /// The next line as valid UTF-8 without its line end; nothing when the input has ended, failed or
  /// brought a line over 64 KB, and after `close`.
  Task<std::optional<std::string>> next();

  /// Ends a `next` under way.
  void close();

 private:
  boost::asio::posix::stream_descriptor input_;
  std::string buffer_;
};

}  // namespace halcyra

#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/Task.h"

namespace halcyra {

/// Lines that arrive while the program works: what a person types, or the commands of another
/// program. Any descriptor serves, a file too. A terminal is left alone while the program is in
/// the background of it, where a read would stop the program.
class InputLines {
 public:
  /// `blocking` runs on threads that may wait. Standard input is read past any buffer.
  InputLines(Executor blocking, int descriptor);
  ~InputLines();

  /// The next line as valid UTF-8 without its line end, of one over 16 MB the beginning; nothing
  /// when the input has ended or failed, and after `close`. One call at a time.
  Task<std::optional<std::string>> next();

  /// Ends a `next` under way and all later ones.
  void close();

 private:
  class Reader;

  Executor blocking_;
  std::shared_ptr<Reader> reader_;
};

}  // namespace halcyra

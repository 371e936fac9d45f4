#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// Looks for the server's announcement of new mail, " EXISTS" or " RECENT" in any case, in bytes
/// that arrive in pieces. Keeps no more than the few bytes that may begin one.
class IMAPIdleWatch {
 public:
  /// True when an announcement ends within these bytes.
  bool announcedIn(std::string_view bytes);

 private:
  std::string tail_;
};

}  // namespace halcyra

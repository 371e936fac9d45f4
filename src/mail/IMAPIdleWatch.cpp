#include "mail/IMAPIdleWatch.h"

#include <algorithm>

#include "text/Case.h"

namespace halcyra {

bool IMAPIdleWatch::announcedIn(std::string_view bytes) {
  constexpr std::string_view exists = " exists", recent = " recent";
  std::string text = tail_ + asciiLowercased(bytes);
  const bool announced = text.find(exists) != text.npos || text.find(recent) != text.npos;
  tail_ = text.substr(text.size() - std::min(text.size(), exists.size() - 1));
  return announced;
}

}  // namespace halcyra

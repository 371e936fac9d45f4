#include "signin/ScopeHint.h"

#include <algorithm>
#include <array>

#include "text/Case.h"

namespace halcyra {

std::string scopeHint(std::string_view message, std::string_view providerName) {
  constexpr std::array<std::string_view, 5> signs = {"insufficient", "forbidden", "access denied",
                                                     "permission", "scope"};
  const std::string lower = lowercased(message);
  const bool concernsScope = std::any_of(signs.begin(), signs.end(), [&](std::string_view sign) {
    return lower.find(sign) != lower.npos;
  });
  if (!concernsScope) return std::string(message);
  return std::string(message) + "\n\nTip: sign out this " + std::string(providerName) +
         " mailbox in Halcyra and sign in again to grant the current Google Calendar / Gmail "
         "scopes.";
}

}  // namespace halcyra

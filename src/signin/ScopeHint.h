#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// The message, with advice to sign in again when it sounds like a scope that the sign-in did not
/// grant. `providerName` is "Google" or "Microsoft".
std::string scopeHint(std::string_view message, std::string_view providerName);

}  // namespace halcyra

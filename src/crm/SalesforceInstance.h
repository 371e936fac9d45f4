#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// The base address of the API, trimmed and without one slash at its end. Throws ProviderError of
/// the domain, with the code of a request that cannot be made, when a bearer token must not go
/// there: it is to be an https address of host and path, or one of this machine.
std::string usableSalesforceInstance(std::string_view instanceURL, const std::string& domain);

}  // namespace halcyra

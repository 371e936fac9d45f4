#pragma once

#include <string_view>

namespace halcyra::sandbox {

/// Is this the verifier behind an S256 challenge (RFC 7636, section 4.6)?
bool verifierFits(std::string_view verifier, std::string_view challenge);

}  // namespace halcyra::sandbox

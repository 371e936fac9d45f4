#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// The 32 bytes of SHA-256 over `bytes` (FIPS 180-4).
std::string sha256(std::string_view bytes);

}  // namespace halcyra

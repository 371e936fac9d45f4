#pragma once

#include <cstddef>
#include <string>

namespace halcyra {

/// Bytes that nobody can guess. Throws std::runtime_error when the system has none to give, rather
/// than hand out bytes that somebody can.
std::string secureRandomBytes(std::size_t count);

}  // namespace halcyra

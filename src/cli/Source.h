#pragma once

#include <cstddef>
#include <istream>
#include <string>

namespace halcyra {

/// What an argument means by "standard input".
inline constexpr const char* standardInput = "-";

/// The bytes of a file or, for "-", of standard input, behind `prefix`. Throws std::runtime_error
/// that names the source when it cannot be read or has more than `limit` bytes.
std::string readSource(const std::string& source, std::istream& in, std::size_t limit,
                       std::string prefix = {});

}  // namespace halcyra

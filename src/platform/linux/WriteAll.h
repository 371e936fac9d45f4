#pragma once

#include <string_view>

namespace halcyra {

/// Writes all bytes to a descriptor, in as many calls as it takes. False when the system takes no
/// more of them; errno tells why.
bool writeAll(int descriptor, std::string_view bytes);

}  // namespace halcyra

#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// A fresh random UUID (RFC 4122, version 4) in upper case.
std::string newUuid();

/// 8-4-4-4-12 hexadecimal digits of either case.
bool isCanonicalUuid(std::string_view text);

}  // namespace halcyra

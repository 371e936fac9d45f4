#pragma once

#include <string>

namespace halcyra {

/// Resolves character references, numeric ones and the names that mail uses, once: what a reference
/// gives is not read again, but for "&#38;", which may start a named one.
std::string decodeHTMLEntities(std::string text);

}  // namespace halcyra

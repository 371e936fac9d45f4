#pragma once

#include <string>

namespace halcyra {

/// Undoes UTF-8 that was read as ISO-8859-1, as long as a pass lowers the number of its tell-tale
/// letters, at most `passes` times.
std::string repairMojibake(std::string text, int passes);

}  // namespace halcyra

#pragma once

#include <map>
#include <string>

namespace halcyra {

/// The string values that the build placed in Info.json, uncleaned, by key.
using BuildValues = std::map<std::string, std::string, std::less<>>;

}  // namespace halcyra

#pragma once

#include <filesystem>

#include "platform/BuildValues.h"
#include "platform/FileStore.h"

namespace halcyra {

/// The values of an Info.json, a JSON object; members that are no strings are passed over. A file
/// that is not there has none. Throws FileError when it cannot be read or is no JSON object.
BuildValues loadBuildValues(FileStore& files, const std::filesystem::path& file);

}  // namespace halcyra

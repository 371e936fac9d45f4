#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "platform/BuildValues.h"
#include "platform/Endpoints.h"
#include "platform/FileStore.h"

namespace halcyra {

/// The value of an environment variable, or nothing when it is unset or empty.
using Variables = std::function<std::optional<std::string>(const std::string& name)>;

/// The variables of this process.
std::optional<std::string> processVariable(const std::string& name);

/// A variable that is missing or holds what cannot be used. `what()` says what to set.
class EnvironmentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The user's folders, by the XDG base directory rules: a relative value counts as unset.
struct Paths {
  /// config.json, processed-ids.json and, without a Secret Service, secrets.json.
  std::filesystem::path settings;
  /// defaults.json.
  std::filesystem::path config;

  bool operator==(const Paths&) const = default;
};

/// Throws EnvironmentError when a folder depends on HOME and HOME is no absolute path.
Paths pathsFrom(const Variables& variables);

/// The values of the build, from the Info.json that HALCYRA_INFO names; else from the one beside
/// the executable, as in a build tree; else from the installed one, which need not exist. Throws
/// EnvironmentError or FileError.
BuildValues readBuildValues(FileStore& files, const Variables& variables,
                            const std::filesystem::path& executable,
                            const std::filesystem::path& installed);

/// The web services' addresses: the real ones, or those of the JSON object in the file that
/// HALCYRA_ENDPOINTS names, which replaces any of them by stand-ins on this machine. Its keys are
/// the fields of Endpoints, its values http or https addresses with a host in 127.0.0.0/8, ::1 or
/// localhost and perhaps a path. Throws EnvironmentError for anything else, so that mail and tokens
/// never go to another machine; throws FileError when the file cannot be read.
Endpoints readEndpoints(FileStore& files, const Variables& variables);

}  // namespace halcyra

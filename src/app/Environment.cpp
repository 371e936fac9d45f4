#include "app/Environment.h"

#include <cstdlib>

#include "config/BuildInfo.h"

namespace halcyra {
namespace {

using std::filesystem::path;

constexpr const char* folderName = "Halcyra";

path baseFolder(const Variables& variables, const std::string& name, const char* belowHome) {
  if (const auto value = variables(name); value && path(*value).is_absolute()) return *value;
  const auto home = variables("HOME");
  if (!home || !path(*home).is_absolute()) {
    throw EnvironmentError("the environment variable HOME holds no absolute path; set HOME or " +
                           name);
  }
  return path(*home) / belowHome;
}

}  // namespace

std::optional<std::string> processVariable(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

Paths pathsFrom(const Variables& variables) {
  return {baseFolder(variables, "XDG_DATA_HOME", ".local/share") / folderName,
          baseFolder(variables, "XDG_CONFIG_HOME", ".config") / folderName};
}

BuildValues readBuildValues(FileStore& files, const Variables& variables, const path& executable,
                            const path& installed) {
  if (const auto named = variables("HALCYRA_INFO")) {
    if (!files.read(*named)) {
      throw EnvironmentError(*named + " does not exist; HALCYRA_INFO must name an Info.json");
    }
    return loadBuildValues(files, *named);
  }
  const path beside = executable.parent_path() / "Info.json";
  return loadBuildValues(files, files.read(beside) ? beside : installed);
}

}  // namespace halcyra

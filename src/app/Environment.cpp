#include "app/Environment.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

#include "config/BuildInfo.h"
#include "platform/LoopbackURL.h"
#include "text/Json.h"

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

constexpr std::array<std::pair<std::string_view, std::string Endpoints::*>, 7> endpointKeys = {{
    {"google", &Endpoints::google},
    {"googleAccounts", &Endpoints::googleAccounts},
    {"googleToken", &Endpoints::googleToken},
    {"microsoftLogin", &Endpoints::microsoftLogin},
    {"graph", &Endpoints::graph},
    {"salesforceLogin", &Endpoints::salesforceLogin},
    {"dataverse", &Endpoints::dataverse},
}};

void setEndpoint(Endpoints& endpoints, const std::string& key, const nlohmann::json& value,
                 const std::string& file) {
  const auto known = std::find_if(endpointKeys.begin(), endpointKeys.end(),
                                  [&](const auto& entry) { return entry.first == key; });
  if (known == endpointKeys.end()) {
    throw EnvironmentError(file + ": \"" + key + "\" is not one of google, googleAccounts, " +
                           "googleToken, microsoftLogin, graph, salesforceLogin, dataverse");
  }
  if (!value.is_string() || !isLoopbackURL(value.get_ref<const std::string&>())) {
    throw EnvironmentError(file + ": " + key + " must be an http or https address on this " +
                           "machine, such as http://127.0.0.1:8080; HALCYRA_ENDPOINTS allows no " +
                           "other");
  }
  std::string url = value.get<std::string>();
  while (url.ends_with('/')) url.pop_back();
  endpoints.*(known->second) = std::move(url);
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

Endpoints readEndpoints(FileStore& files, const Variables& variables) {
  const auto file = variables("HALCYRA_ENDPOINTS");
  if (!file) return {};
  const auto text = files.read(*file);
  if (!text) {
    throw EnvironmentError(*file + " does not exist; HALCYRA_ENDPOINTS must name a JSON file");
  }
  try {
    const nlohmann::json document = parseJson(*text);
    if (!document.is_object()) throw JsonError("expected a JSON object.");
    Endpoints endpoints;
    for (const auto& [key, value] : document.items()) setEndpoint(endpoints, key, value, *file);
    return endpoints;
  } catch (const JsonError& error) {
    throw EnvironmentError(*file + ": " + error.what());
  }
}

}  // namespace halcyra

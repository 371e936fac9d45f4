#include "app/Environment.h"

#include <algorithm>
#include <array>
#include <boost/asio/ip/address.hpp>
#include <charconv>
#include <cstdlib>
#include <utility>

#include "config/BuildInfo.h"
#include "text/Case.h"
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

constexpr std::array<std::pair<std::string_view, std::string Endpoints::*>, 5> endpointKeys = {{
    {"google", &Endpoints::google},
    {"googleAccounts", &Endpoints::googleAccounts},
    {"googleToken", &Endpoints::googleToken},
    {"microsoftLogin", &Endpoints::microsoftLogin},
    {"graph", &Endpoints::graph},
}};

bool isLoopbackHost(std::string_view host) {
  if (equalsIgnoringAsciiCase(host, "localhost")) return true;
  const bool inBrackets = host.starts_with('[') && host.ends_with(']');
  if (inBrackets) host = host.substr(1, host.size() - 2);
  boost::system::error_code malformed;
  const auto address = boost::asio::ip::make_address(std::string(host), malformed);
  return !malformed && address.is_loopback() && address.is_v6() == inBrackets;
}

bool isPort(std::string_view text) {
  unsigned port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size() && port > 0 && port <= 65535;
}

bool isPlainPath(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return (asciiLower(c) >= 'a' && asciiLower(c) <= 'z') || (c >= '0' && c <= '9') ||
           std::string_view("/-._~").find(c) != std::string_view::npos;
  });
}

// Strict on purpose: "http://localhost:80@example.org" is another machine to an HTTP client.
bool isLoopbackURL(std::string_view url) {
  const std::string_view scheme = url.starts_with("https://") ? "https://" : "http://";
  if (!url.starts_with(scheme)) return false;
  url.remove_prefix(scheme.size());
  const std::size_t pathStart = std::min(url.find('/'), url.size());
  std::string_view host = url.substr(0, pathStart);
  const std::size_t colon = host.rfind(':');
  if (colon != host.npos && !host.ends_with(']')) {
    if (!isPort(host.substr(colon + 1))) return false;
    host = host.substr(0, colon);
  }
  return isLoopbackHost(host) && isPlainPath(url.substr(pathStart));
}

void setEndpoint(Endpoints& endpoints, const std::string& key, const nlohmann::json& value,
                 const std::string& file) {
  const auto known = std::find_if(endpointKeys.begin(), endpointKeys.end(),
                                  [&](const auto& entry) { return entry.first == key; });
  if (known == endpointKeys.end()) {
    throw EnvironmentError(file + ": \"" + key + "\" is not one of google, googleAccounts, " +
                           "googleToken, microsoftLogin, graph");
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

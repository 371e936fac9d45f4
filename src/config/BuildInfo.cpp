#include "config/BuildInfo.h"

#include "text/Json.h"

namespace halcyra {

BuildValues loadBuildValues(FileStore& files, const std::filesystem::path& file) {
  const auto text = files.read(file);
  if (!text) return {};
  try {
    const nlohmann::json document = parseJson(*text);
    if (!document.is_object()) throw JsonError("expected a JSON object.");
    BuildValues values;
    for (const auto& [key, value] : document.items()) {
      if (value.is_string()) values.emplace(key, value.get<std::string>());
    }
    return values;
  } catch (const JsonError& error) {
    throw FileError(file.string() + ": " + error.what());
  }
}

}  // namespace halcyra

#include "config/ConfigJson.h"

#include "config/RecordTable.h"
#include "config/RuleMigration.h"
#include "text/Json.h"

namespace halcyra {
namespace {

nlohmann::json parseDocument(std::string_view text) {
  try {
    nlohmann::json document = parseJson(text);
    if (!document.is_object()) Place().fail("expected a JSON object");
    return document;
  } catch (const JsonError& error) {
    throw ConfigError(error.what());
  }
}

void fillMissingKeys(nlohmann::json& document) {
  const AppConfig defaults;
  for (const Field<AppConfig>& field : fieldsOf<AppConfig>()) {
    if (field.absent == Absent::isFilled && !document.contains(field.name)) {
      document[field.name] = field.encode(defaults);
    }
  }
}

}  // namespace

AppConfig decodeConfig(std::string_view text) {
  nlohmann::json document = parseDocument(text);
  fillMissingKeys(document);
  migrateRules(document);
  AppConfig config;
  decodeValue(document, config, Place());
  return config;
}

std::string encodeConfig(const AppConfig& config) {
  constexpr auto replaceIllFormed = nlohmann::json::error_handler_t::replace;
  return encodeValue(config).dump(2, ' ', false, replaceIllFormed) + "\n";
}

std::vector<std::string> unknownKeys(std::string_view text) {
  nlohmann::json document = parseDocument(text);
  for (auto entry = document.begin(); entry != document.end();) {
    entry = isLegacyRuleKey(entry.key()) ? document.erase(entry) : std::next(entry);
  }
  std::vector<std::string> unknown;
  UnknownKeys<AppConfig>::find(document, Place(), unknown);
  return unknown;
}

std::string discardedRules(std::string_view text) {
  const nlohmann::json document = parseDocument(text);
  const auto rules = document.find("rules");
  const bool somethingThere = rules != document.end() && !rules->is_null() && !rules->empty();
  if (!somethingThere || holdsRules(document)) return "";
  if (!rules->is_array()) return "rules: expected a list";
  const auto stray = std::find_if(rules->begin(), rules->end(),
                                  [](const nlohmann::json& rule) { return !rule.is_object(); });
  return "rules[" + std::to_string(stray - rules->begin()) + "]: expected an object";
}

}  // namespace halcyra

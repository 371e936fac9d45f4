#include "config/RuleMigration.h"

#include <algorithm>
#include <array>
#include <string>

#include "config/RecordTable.h"
#include "text/Trim.h"
#include "text/Uuid.h"

namespace halcyra {
namespace {

constexpr std::array<std::string_view, 5> legacyKeys = {
    "supportForwardTo", "changeForwardTo", "enableSupport", "enableChange", "enableGeneral"};

std::string addressAt(const nlohmann::json& document, const char* key) {
  const auto found = document.find(key);
  if (found == document.end() || !found->is_string()) return "";
  return std::string(trimmed(found->get_ref<const std::string&>()));
}

bool switchAt(const nlohmann::json& document, const char* key) {
  const auto found = document.find(key);
  return found == document.end() || !found->is_boolean() || found->get<bool>();
}

MailRule forwardRule(std::string name, std::string criteria, std::string target) {
  MailRule rule;
  rule.id = newUuid();
  rule.displayName = std::move(name);
  rule.criteriaPrompt = std::move(criteria);
  rule.action = MailRuleAction::forwardAndNotify;
  rule.forwardTo = std::move(target);
  return rule;
}

}  // namespace

bool isLegacyRuleKey(std::string_view key) {
  return std::find(legacyKeys.begin(), legacyKeys.end(), key) != legacyKeys.end();
}

bool holdsRules(const nlohmann::json& document) {
  const auto rules = document.find("rules");
  return rules != document.end() && rules->is_array() && !rules->empty() &&
         std::all_of(rules->begin(), rules->end(),
                     [](const auto& rule) { return rule.is_object(); });
}

void migrateRules(nlohmann::json& document) {
  if (holdsRules(document)) return;
  const std::string supportTarget = addressAt(document, "supportForwardTo");
  const std::string ownChangeTarget = addressAt(document, "changeForwardTo");
  const std::string& changeTarget = ownChangeTarget.empty() ? supportTarget : ownChangeTarget;

  std::vector<MailRule> rules;
  if (switchAt(document, "enableSupport") && !supportTarget.empty()) {
    rules.push_back(forwardRule("Support",
                                "Support requests, bugs, outages, login or account problems, and "
                                "complaints that should go to the support team.",
                                supportTarget));
  }
  if (switchAt(document, "enableChange") && !changeTarget.empty()) {
    rules.push_back(forwardRule("Change requests",
                                "Feature requests, scope changes, “please change X”, deployment or "
                                "configuration change asks.",
                                changeTarget));
  }
  rules.push_back(defaultCatchAllRule());
  if (!switchAt(document, "enableGeneral")) rules.back().action = MailRuleAction::forwardSilently;
  document["rules"] = encodeValue(rules);
}

}  // namespace halcyra

#pragma once

#include <string>

#include "config/AppConfig.h"
#include "config/ConfigJson.h"
#include "text/Json.h"

namespace halcyra {

inline MailRule ruleNamed(const std::string& id, bool isCatchAll = false) {
  MailRule rule;
  rule.id = id;
  rule.isCatchAll = isCatchAll;
  return rule;
}

inline MailRule ruleFor(const std::string& id, std::vector<std::string> mailboxes,
                        bool isCatchAll = false) {
  MailRule rule = ruleNamed(id, isCatchAll);
  rule.mailboxScope = MailRuleMailboxScope::selectedMailboxes;
  rule.mailboxAccountIds = std::move(mailboxes);
  return rule;
}

inline MailAccount accountNamed(const std::string& id, bool enabled = true) {
  MailAccount account;
  account.id = id;
  account.enabled = enabled;
  account.displayLabel = " " + id + "@example.org ";
  return account;
}

/// A clean configuration, as its file holds it.
inline nlohmann::json cleanDocument() {
  AppConfig config;
  config.rules = {ruleNamed("R", true)};
  return nlohmann::json::parse(encodeConfig(config));
}

}  // namespace halcyra

#include "cli/ConfigCheck.h"

#include <algorithm>
#include <map>

#include "classification/LLMClient.h"
#include "cli/SendingWarnings.h"
#include "config/ConfigJson.h"
#include "platform/LoopbackURL.h"
#include "text/Case.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

using Warnings = std::vector<std::string>;

std::string place(const char* list, std::size_t index) {
  return std::string(list) + "[" + std::to_string(index) + "]";
}

bool isBlank(std::string_view text) {
  return trimmed(text).empty();
}

template <class Records>
void warnOfIds(const char* list, const Records& records, Warnings& warnings) {
  std::map<std::string, std::size_t> seen;
  for (std::size_t i = 0; i < records.size(); ++i) {
    const std::string& id = records[i].id;
    if (isBlank(id)) warnings.push_back(place(list, i) + ".id: is empty");
    const auto [first, isNew] = seen.emplace(id, i);
    if (!isNew) {
      warnings.push_back(place(list, i) + ".id: is the same as " + place(list, first->second) +
                         ".id");
    }
  }
}

std::size_t enabledCount(const AppConfig& config) {
  return static_cast<std::size_t>(
      std::count_if(config.mailAccounts.begin(), config.mailAccounts.end(),
                    [](const MailAccount& account) { return account.enabled; }));
}

void warnOfConnection(const std::string& at, const IMAPConnection& imap, Warnings& warnings) {
  if (isBlank(imap.host)) warnings.push_back(at + ".host: is empty, so nothing is watched");
  if (isBlank(imap.username)) warnings.push_back(at + ".username: is empty, so nothing is watched");
  for (const auto& [name, value] : {std::pair{".host", &imap.host},
                                    {".username", &imap.username},
                                    {".mailbox", &imap.mailbox}}) {
    if (onOneLine(*value) != *value) {
      warnings.push_back(at + name + ": holds a control character, so no server can be reached");
    }
  }
  if (imap.port < 1 || imap.port > 65535) {
    warnings.push_back(at + ".port: is not between 1 and 65535");
  }
}

void warnOfMailboxes(const AppConfig& config, Warnings& warnings) {
  if (enabledCount(config) > maximumMonitoredMailboxes) {
    warnings.push_back("mailAccounts: " + std::to_string(enabledCount(config)) +
                       " mailboxes are enabled; no more than 3 are meant to be watched at a time");
  }
  for (std::size_t i = 0; i < config.mailAccounts.size(); ++i) {
    if (const auto* imap = std::get_if<IMAPConnection>(&config.mailAccounts[i].kind)) {
      warnOfConnection(place("mailAccounts", i) + ".kind.imap", *imap, warnings);
    }
  }
}

void warnOfScope(const std::string& at, const MailRule& rule,
                 const std::set<std::string>& mailboxes, Warnings& warnings) {
  if (rule.mailboxScope != MailRuleMailboxScope::selectedMailboxes) return;
  const auto& ids = rule.mailboxAccountIds;
  const auto valid = std::count_if(ids.begin(), ids.end(),
                                   [&](const std::string& id) { return mailboxes.contains(id); });
  if (valid == 0) {
    warnings.push_back(at +
                       ".mailboxAccountIds: names no mailbox there is, so the rule applies to "
                       "all mailboxes");
  } else if (valid > 1) {
    warnings.push_back(at + ".mailboxAccountIds: names several mailboxes; only the first counts");
  }
}

void warnOfAction(const std::string& at, const MailRule& rule, const AppConfig& config,
                  Warnings& warnings) {
  const bool forwards = rule.action == MailRuleAction::forwardAndNotify ||
                        rule.action == MailRuleAction::forwardSilently;
  if (forwards && isBlank(rule.forwardTo)) {
    warnings.push_back(at + ".forwardTo: is empty, so the rule forwards nothing");
  }
  const auto& automations = config.customAutomations;
  if (rule.action == MailRuleAction::runCustomAutomation &&
      std::none_of(automations.begin(), automations.end(), [&](const CustomAutomation& automation) {
        return automation.id == rule.customAutomationId;
      })) {
    warnings.push_back(at + ".customAutomationId: names no automation there is");
  }
}

void warnOfRules(const AppConfig& config, Warnings& warnings) {
  if (config.rules.size() > maximumRules) {
    warnings.push_back("rules: there are " + std::to_string(config.rules.size()) +
                       "; those past the 50th are dropped");
  }
  const auto catchAlls = std::count_if(config.rules.begin(), config.rules.end(),
                                       [](const MailRule& rule) { return rule.isCatchAll; });
  if (catchAlls == 0 && !config.rules.empty()) {
    warnings.push_back("rules: none has isCatchAll, so the last one becomes the catch-all");
  } else if (catchAlls > 1) {
    warnings.push_back("rules: several have isCatchAll; only the first stays the catch-all");
  }
  const std::set<std::string> mailboxes = config.validMailboxIds();
  for (std::size_t i = 0; i < config.rules.size(); ++i) {
    warnOfScope(place("rules", i), config.rules[i], mailboxes, warnings);
    warnOfAction(place("rules", i), config.rules[i], config, warnings);
  }
}

void warnOfModel(const AppConfig& config, Warnings& warnings) {
  if (config.llmMaxBodyChars <= 0) {
    warnings.push_back("llmMaxBodyChars: is not above 0, so the model gets no mail text");
  }
  try {
    const std::string url = chatCompletionsURL(config.llmBaseURL);
    if (asciiLowercased(url).starts_with("https:") || isLoopbackURL(url)) return;
    warnings.push_back(
        "llmBaseURL: is no https address, so mail text and any key go out unencrypted");
  } catch (const LLMError&) {
    warnings.push_back("llmBaseURL: is no http or https address, so no model can be asked");
  }
}

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

}  // namespace

std::vector<std::string> configWarnings(const AppConfig& config) {
  Warnings warnings;
  warnOfMailboxes(config, warnings);
  warnOfIds("mailAccounts", config.mailAccounts, warnings);
  warnOfRules(config, warnings);
  warnOfIds("rules", config.rules, warnings);
  for (std::string& warning : sendingWarnings(config)) warnings.push_back(std::move(warning));
  warnOfModel(config, warnings);
  return warnings;
}

ConfigCheck checkConfig(std::string_view text) {
  ConfigCheck check{decodeConfig(text), {}};
  for (const std::string& key : unknownKeys(text)) {
    check.warnings.push_back(key + ": is no setting and is dropped when the file is next saved");
  }
  if (const std::string reason = discardedRules(text); !reason.empty()) {
    check.warnings.push_back("rules: the rules in the file are replaced: " + reason);
  }
  for (std::string& warning : configWarnings(check.config)) {
    check.warnings.push_back(std::move(warning));
  }
  return check;
}

std::string configSummary(const AppConfig& config) {
  const std::size_t monitored = config.monitoredMailAccounts().size();
  return counted(config.mailboxPickerRows().size(), "mailbox", "mailboxes") + " (" +
         std::to_string(monitored) + " enabled), " +
         counted(config.effectiveRules().size(), "rule", "rules");
}

}  // namespace halcyra

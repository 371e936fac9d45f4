#pragma once

#include <optional>
#include <string>
#include <vector>

#include "config/AppConfig.h"

namespace halcyra {

/// The mailbox that a mail came in at, as the prompt names it.
struct ReceivingMailbox {
  std::string id;
  std::string label;
};

/// The rules in prompt order, catch-all last: those of one mailbox, or all of them.
std::vector<MailRule> promptRules(const AppConfig& config,
                                  const std::optional<ReceivingMailbox>& mailbox);

/// The opening of the system message: what is asked, and one line for each rule.
std::string ruleOverview(const AppConfig& config, const std::optional<ReceivingMailbox>& mailbox,
                         const std::vector<MailRule>& rules);

/// The rules in full, with the ids to answer with and the form of the answer. Begins with a line
/// feed.
std::string rulesBlock(const std::optional<ReceivingMailbox>& mailbox,
                       const std::vector<MailRule>& rules);

}  // namespace halcyra

#include "cli/SendingWarnings.h"

#include <algorithm>

#include "platform/LoopbackURL.h"
#include "text/Trim.h"
#include "triage/ResolvedSMTP.h"

namespace halcyra {
namespace {

using Warnings = std::vector<std::string>;

constexpr const char* notOneAddress =
    ": is not one plain address such as name@example.com, so forwards fail";

bool isForward(MailRuleAction action) {
  return action == MailRuleAction::forwardAndNotify || action == MailRuleAction::forwardSilently;
}

bool isForward(CustomAutomationStepKind kind) {
  return kind == CustomAutomationStepKind::forwardAndNotify ||
         kind == CustomAutomationStepKind::forwardSilently;
}

void warnOfForwards(const AppConfig& config, Warnings& warnings) {
  for (std::size_t i = 0; i < config.rules.size(); ++i) {
    const MailRule& rule = config.rules[i];
    if (!isForward(rule.action) || trimmed(rule.forwardTo).empty()) continue;
    if (isPlainAddress(rule.forwardTo)) continue;
    warnings.push_back("rules[" + std::to_string(i) + "].forwardTo" + notOneAddress);
  }
  for (std::size_t i = 0; i < config.customAutomations.size(); ++i) {
    const auto& steps = config.customAutomations[i].steps;
    for (std::size_t k = 0; k < steps.size(); ++k) {
      if (!isForward(steps[k].kind) || isPlainAddress(steps[k].forwardTo)) continue;
      warnings.push_back("customAutomations[" + std::to_string(i) + "].steps[" + std::to_string(k) +
                         "].forwardTo" + notOneAddress +
                         ", and the steps before it run again on every poll");
    }
  }
}

bool mayForward(const MailRule& rule) {
  return isForward(rule.action) || rule.action == MailRuleAction::runCustomAutomation;
}

void warnOfServers(const AppConfig& config, Warnings& warnings) {
  if (std::ranges::none_of(config.rules, mayForward)) return;
  for (const MailAccount& account : config.monitoredMailAccounts()) {
    const auto server = resolveSMTP(config, account, "");
    const std::string mailbox = "mailbox " + account.id;
    if (!server && std::holds_alternative<IMAPConnection>(account.kind)) {
      warnings.push_back(mailbox + " cannot forward: set smtpHost, or a server of its own");
    } else if (server && (server->port < 1 || server->port > 65535)) {
      warnings.push_back(mailbox + " cannot forward: its SMTP port is not between 1 and 65535");
    } else if (server && server->useStartTLS && server->port != 465 && server->port != 587) {
      warnings.push_back(mailbox + " cannot forward: STARTTLS on port " +
                         std::to_string(server->port) +
                         " is not possible; use port 465, or no STARTTLS");
    }
  }
}

// What stays on this machine may go as it is.
void warnOfOpenPasswords(const AppConfig& config, Warnings& warnings) {
  for (const MailAccount& account : config.monitoredMailAccounts()) {
    const auto server = resolveSMTP(config, account, "");
    if (!server || isLoopbackURL("http://" + server->host)) continue;
    const SMTPOrder order = smtpOrder(*server, "", "");
    if (order.implicitTLS || order.useStartTLS) continue;
    warnings.push_back("mailbox " + account.id + " sends its SMTP password unencrypted to " +
                       order.host + ":" + std::to_string(server->port) +
                       "; use port 465, which has TLS");
  }
}

}  // namespace

bool isPlainAddress(std::string_view text) {
  text = trimmed(text);
  const std::size_t at = text.find('@');
  return at != text.npos && at > 0 && at + 1 < text.size() &&
         text.find_first_of(" \t\r\n,;:<>\"") == text.npos && text.find('@', at + 1) == text.npos;
}

std::vector<std::string> sendingWarnings(const AppConfig& config) {
  Warnings warnings;
  warnOfForwards(config, warnings);
  warnOfServers(config, warnings);
  warnOfOpenPasswords(config, warnings);
  return warnings;
}

}  // namespace halcyra

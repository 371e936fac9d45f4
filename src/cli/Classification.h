#pragma once

#include <optional>
#include <string>

#include "classification/LLMClient.h"
#include "config/AppConfig.h"
#include "mail/ParsedMail.h"

namespace halcyra {

/// The two messages for the model, as they are sent.
struct Prompt {
  std::string system;
  std::string user;
};

/// With a mailbox the live form, without one the test form.
Prompt promptFor(const ParsedMail& mail, const AppConfig& config,
                 const std::optional<std::string>& mailbox);

std::string promptText(const Prompt& prompt);
std::string promptJson(const Prompt& prompt);

/// The model's answer beside the rule it names.
struct Verdict {
  ClassificationResult result;
  /// Absent when none of the rules asked about has the id.
  std::optional<std::string> ruleName;
  /// The mailbox of the live form.
  std::optional<std::string> mailbox;
};

Verdict verdictOf(const ClassificationResult& result, const AppConfig& config,
                  const std::optional<std::string>& mailbox);

/// Four "name: value" lines.
std::string verdictText(const Verdict& verdict);
std::string verdictJson(const Verdict& verdict);

}  // namespace halcyra

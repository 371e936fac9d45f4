#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "config/AppConfig.h"

namespace halcyra {

/// The system message that tells the model how to triage a mail. With a receiving mailbox it holds
/// the rules and notes of that mailbox (live form); without one, all rules and all notes (test
/// form).
std::string composeClassificationSystemPrompt(const AppConfig& config,
                                              const std::optional<std::string>& receivingAccountId,
                                              const std::optional<std::string>& calendarContext);

/// The user message around a mail's text.
std::string classificationUserMessage(std::string_view mailText);

}  // namespace halcyra

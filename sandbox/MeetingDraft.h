#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sandbox/PromptReader.h"

namespace halcyra::sandbox {

/// The answer to a mail that asks for a meeting, where the system message says what may be
/// proposed: the first of the allowed starts, or a question for times. Nothing for any other mail.
std::optional<std::string> meetingDraft(std::string_view systemMessage, const AskedMail& mail);

}  // namespace halcyra::sandbox

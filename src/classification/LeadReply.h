#pragma once

#include <string_view>

#include "crm/DynamicsLeadFields.h"

namespace halcyra {

/// The system message that asks for the fields of a lead.
extern const std::string_view leadSystemText;

/// Reads the fields out of the model's text: JSON as asked for, or fenced, or with prose around it.
/// Throws LLMError::decodeFailed for anything else.
DynamicsLeadFields parseLeadReply(std::string_view text);

}  // namespace halcyra

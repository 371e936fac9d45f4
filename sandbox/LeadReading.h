#pragma once

#include <string_view>

#include "text/Json.h"

namespace halcyra::sandbox {

/// What a simple reader finds of a lead in the user message that asks for its fields: the name in
/// the From line, a signature of name and company, labelled phone numbers, the first question.
/// Fields that it does not find are null.
nlohmann::json leadFieldsIn(std::string_view userMessage);

}  // namespace halcyra::sandbox

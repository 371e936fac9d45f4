#pragma once

#include <string>

#include "app/Environment.h"

namespace halcyra {

/// The text after the user, at a terminal, edited it. It passes through a private temporary
/// folder that is gone afterwards. Waits for the editor. Throws std::runtime_error.
std::string editedDraft(const Variables& variables, const std::string& draft);

}  // namespace halcyra

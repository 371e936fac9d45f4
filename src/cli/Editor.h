#pragma once

#include <filesystem>

#include "app/Environment.h"

namespace halcyra {

/// Lets the user edit a file and waits until the editor ends: that of $VISUAL or $EDITOR, else,
/// with the user `atTerminal`, one that is installed. Throws std::runtime_error when there is none,
/// or when it cannot be run or fails.
void editFile(const Variables& variables, bool atTerminal, const std::filesystem::path& file);

}  // namespace halcyra

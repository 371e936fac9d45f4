#pragma once

#include <span>
#include <string>
#include <vector>

#include "cli/Command.h"

namespace halcyra {

/// Parses the arguments (without the program's name), runs the command they name and gives the exit
/// code. Every failure is one line on standard error. The commands are those of `commands`.
int runCommandLine(const std::vector<std::string>& arguments, const std::string& version,
                   std::span<const CommandRegistration> commands, Session& session);

}  // namespace halcyra

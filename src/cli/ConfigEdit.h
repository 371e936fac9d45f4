#pragma once

#include "cli/Command.h"

namespace halcyra {

/// Lets the user edit a copy of config.json and replaces the file once the copy can be read. An
/// edit that is given up is kept, and the error names the copy.
int editConfig(Session& session);

}  // namespace halcyra

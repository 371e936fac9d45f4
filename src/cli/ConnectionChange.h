#pragma once

#include <string>

#include "cli/Command.h"
#include "config/AppConfig.h"

namespace halcyra {

/// Adds the connection with a new id, saves the configuration and says what comes next.
int addConnection(Session& session, CRMConnectionProfile connection);

/// Removes the connection with its stored sign-in, saves, and warns of the steps that named it.
int removeConnection(Session& session, const std::string& id);

}  // namespace halcyra

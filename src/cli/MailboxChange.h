#pragma once

#include <string>

#include "cli/Command.h"
#include "config/AppConfig.h"

namespace halcyra {

/// Adds the mailbox with a new id, saves the configuration and says what comes next.
int addMailbox(Session& session, MailAccount account);

/// Removes the mailbox with its stored sign-in and its own SMTP password, and saves. Rules that
/// were scoped to it apply to all mailboxes from then on.
int removeMailbox(Session& session, const std::string& id);

}  // namespace halcyra

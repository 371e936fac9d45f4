#pragma once

#include <string>
#include <vector>

#include "config/AppConfig.h"

namespace halcyra {

/// Every configured mailbox, switched on or not, or else the one of the older flat settings.
std::vector<MailAccount> allMailboxes(const AppConfig& config);

/// Throws std::runtime_error that lists the mailboxes there are when none has this id.
MailAccount mailboxWithId(const AppConfig& config, const std::string& id);

}  // namespace halcyra

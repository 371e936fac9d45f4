#pragma once

#include <string>

#include "app/Providers.h"
#include "config/AppConfig.h"

namespace halcyra {

/// Looks at a Gmail or Graph mailbox as a pass does, and changes nothing. Gives what there is to
/// say; for Graph the report of its diagnostics. Throws MailboxTestError.
Task<std::string> testProviderMailbox(Providers& providers, AppConfig config, MailAccount account);

}  // namespace halcyra

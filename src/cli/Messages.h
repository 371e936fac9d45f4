#pragma once

#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "cli/Command.h"
#include "platform/linux/InstanceLock.h"

namespace halcyra {

/// Writes "halcyra-cli: {text}" as one line, cut at 1000 characters. The text may be any bytes.
void complain(std::ostream& err, std::string_view text);

/// A sentence made ready to go on: without its full stop.
std::string_view withoutStop(std::string_view sentence);

/// The configuration for a command that relies on it. Warns on standard error when the stored file
/// could not be used.
ConfigStore& openConfig(Session& session);

/// The file whose lock a command holds from reading the configuration to saving it, so that no
/// change of another process is lost. Creates the settings folder.
std::filesystem::path configLock(Session& session);

/// Held while secrets are changed. Throws when a monitor is running: it rewrites all secrets as it
/// knows them when it refreshes a sign-in, and would undo the change.
std::unique_ptr<InstanceLock> secretsTurn(Session& session);

/// What to do about a configuration without any mailbox to watch.
std::string addMailboxHint(Session& session);

/// The secrets for a command that relies on them. Warns on standard error when they are kept in a
/// file.
KeychainHelper& openSecrets(Session& session);

}  // namespace halcyra

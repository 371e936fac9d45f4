#pragma once

#include <string>

#include "config/AppConfig.h"
#include "config/KeychainHelper.h"

namespace halcyra {

/// The secrets that handling a mail may need.
struct MailSecrets {
  std::string smtpPassword;
  std::string llmAPIKey;
};

/// Those of a mailbox; one with an outgoing server of its own may have a password of its own.
MailSecrets mailSecretsFor(const MailAccount& account, const SecretsSnapshot& snapshot,
                           KeychainHelper& keychain);

}  // namespace halcyra

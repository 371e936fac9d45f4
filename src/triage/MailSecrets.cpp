#include "triage/MailSecrets.h"

#include "text/Trim.h"

namespace halcyra {

MailSecrets mailSecretsFor(const MailAccount& account, const SecretsSnapshot& snapshot,
                           KeychainHelper& keychain) {
  const bool ownServer = !trimmed(account.outgoingSMTP.host).empty();
  return {keychain.smtpPasswordForAccount(account.id, snapshot.smtpPassword, ownServer),
          snapshot.llmKey};
}

}  // namespace halcyra

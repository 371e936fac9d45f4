#include "cli/MailboxChange.h"

#include <algorithm>

#include "cli/ConfigCheck.h"
#include "cli/Mailboxes.h"
#include "cli/Messages.h"
#include "platform/linux/InstanceLock.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"
#include "text/Uuid.h"

namespace halcyra {
namespace {

std::string nextStep(const MailAccount& account) {
  if (std::holds_alternative<GoogleGmail>(account.kind)) {
    return "halcyra-cli signin google --mailbox " + account.id;
  }
  if (std::holds_alternative<MicrosoftGraph>(account.kind)) {
    return "halcyra-cli signin microsoft --mailbox " + account.id;
  }
  return "halcyra-cli secret set imap.password";
}

}  // namespace

int addMailbox(Session& session, MailAccount account) {
  const InstanceLock turn(configLock(session));
  ConfigStore& store = openConfig(session);
  account.id = newUuid();
  AppConfig config = store.config();
  config.mailAccounts.push_back(account);
  store.setConfig(std::move(config));
  store.save();
  session.out << "added " << account.id << " (" << onOneLine(account.displayLabel)
              << ")\nnext: " << nextStep(account) << '\n';
  const std::size_t monitored = store.config().monitoredMailAccounts().size();
  if (monitored > maximumMonitoredMailboxes) {
    complain(session.err, "warning: " + std::to_string(monitored) +
                              " mailboxes are enabled; no more than 3 are meant to be watched");
  }
  return 0;
}

int removeMailbox(Session& session, const std::string& id) {
  const auto secretsAlone = secretsTurn(session);
  const InstanceLock turn(configLock(session));
  ConfigStore& store = openConfig(session);
  AppConfig config = store.config();
  const MailAccount removed = mailboxWithId(config, id);
  if (config.mailAccounts.empty()) {
    throw std::runtime_error(
        "this mailbox comes from the older settings imapHost and imapUsername; empty these with "
        "\"halcyra-cli config set\"");
  }
  std::erase_if(config.mailAccounts, [&](const MailAccount& account) { return account.id == id; });
  store.setConfig(std::move(config));
  store.save();
  KeychainEnvelopeStorage& secrets = openSecrets(session).storage();
  secrets.removeSecret(secretKey::oauthCredential(id));
  secrets.removeSecret(secretKey::smtpPasswordOfAccount(id));
  session.out << "removed " << onOneLine(id) << " (" << onOneLine(removed.displayLabel) << ")\n";
  for (const CRMConnectionProfile& connection : store.config().crmConnectionProfiles) {
    if (trimmed(connection.microsoftMailAccountId) != id) continue;
    complain(session.err, "warning: the connection \"" + connection.displayName +
                              "\" signs in with this mailbox and fails from now on");
  }
  return 0;
}

}  // namespace halcyra

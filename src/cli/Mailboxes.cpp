#include "cli/Mailboxes.h"

#include <stdexcept>

namespace halcyra {

std::vector<MailAccount> allMailboxes(const AppConfig& config) {
  return config.mailAccounts.empty() ? config.monitoredMailAccounts() : config.mailAccounts;
}

MailAccount mailboxWithId(const AppConfig& config, const std::string& id) {
  std::string known;
  for (MailAccount& account : allMailboxes(config)) {
    if (account.id == id) return std::move(account);
    known += (known.empty() ? "" : ", ") + account.id;
  }
  throw std::runtime_error(known.empty()
                               ? "there is no mailbox \"" + id +
                                     "\", nor any other; add one with "
                                     "\"halcyra-cli mailbox add\""
                               : "there is no mailbox \"" + id + "\"; the mailboxes are: " + known);
}

}  // namespace halcyra

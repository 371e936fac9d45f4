#include <algorithm>

#include "cli/Command.h"
#include "cli/HiddenInput.h"
#include "cli/Messages.h"
#include "cli/Source.h"
#include "text/ControlCharacters.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

constexpr std::size_t longestSecretBytes = std::size_t{64} << 10;
constexpr const char* knownKeys =
    "imap.password, llm.apiKey, smtp.password, smtp.password.account.ID, oauth.credential.ID, "
    "oauth.salesforce, oauth.salesforce.ID";

bool isTokenKey(const std::string& key) {
  return key.starts_with("oauth.");
}

void requireKnownKey(const std::string& key) {
  for (const char* whole : {secretKey::imapPassword, secretKey::smtpPassword, secretKey::llmAPIKey,
                            secretKey::olderSalesforceCredential}) {
    if (key == whole) return;
  }
  for (const std::string& prefix :
       {secretKey::smtpPasswordOfAccount(""), secretKey::oauthCredential(""),
        secretKey::salesforceCredential("")}) {
    if (key.starts_with(prefix) && key.size() > prefix.size()) return;
  }
  throw UsageError("there is no secret \"" + key + "\"; the keys are: " + knownKeys);
}

void removeNewlineAtEnd(std::string& text) {
  if (text.ends_with('\n')) text.pop_back();
  if (text.ends_with('\r')) text.pop_back();
}

void requireUsableValue(const std::string& key, const std::string& value) {
  if (value.empty()) {
    throw std::runtime_error(
        "the value is empty; to remove a secret use \"halcyra-cli secret remove " + key + "\"");
  }
  if (!isValidUtf8(value)) throw std::runtime_error("the value is not UTF-8 text");
  // Passwords and keys travel on one line of their protocols.
  if (!isTokenKey(key) && value.find_first_of(std::string("\r\n\0", 3)) != std::string::npos) {
    throw std::runtime_error("the value has more than one line");
  }
}

int set(Session& session, const std::string& key) {
  requireKnownKey(key);
  secretsTurn(session);  // refused before the question, and not held while it waits
  std::string value = session.interactive
                          ? readHiddenLine("Value of " + key + " (not shown): ")
                          : readSource(standardInput, session.in, longestSecretBytes);
  if (!session.interactive) removeNewlineAtEnd(value);
  requireUsableValue(key, value);
  const auto turn = secretsTurn(session);
  openSecrets(session).storage().writeSecret(value, key);
  return 0;
}

int list(Session& session) {
  const std::vector<std::string> keys = openSecrets(session).storage().keys();
  for (const std::string& key : keys) session.out << onOneLine(key) << '\n';
  if (keys.empty()) complain(session.err, "no secret is stored");
  return 0;
}

int remove(Session& session, const std::string& key) {
  const auto turn = secretsTurn(session);
  KeychainEnvelopeStorage& storage = openSecrets(session).storage();
  const std::vector<std::string> keys = storage.keys();
  if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
    throw std::runtime_error("no secret is stored under \"" + key +
                             "\"; \"halcyra-cli secret list\" shows the keys");
  }
  storage.removeSecret(key);
  return 0;
}

CommandSyntax addKeyed(const CommandSyntax& group, const char* name, const char* help,
                       int (*body)(Session&, const std::string&)) {
  auto key = std::make_shared<std::string>();
  const CommandSyntax command = group.command(name, help);
  command.value("KEY", *key, "The secret", {.isRequired = true});
  command.footer(
      "Keys: imap.password, llm.apiKey, smtp.password, smtp.password.account.ID,\n"
      "oauth.credential.ID, oauth.salesforce, oauth.salesforce.ID, where ID is the id of a "
      "mailbox\n"
      "or of a CRM connection.");
  command.runs([key, body](Session& session) { return body(session, *key); });
  return command;
}

}  // namespace

void addSecretCommand(const CommandSyntax& program) {
  const CommandSyntax group = program.command("secret", "Keep passwords and keys in the keychain");
  addKeyed(group, "set",
           "Store a secret that is read from standard input, on a terminal without echo", set)
      .refusesMore(
          "the value does not go on the command line, which other programs can read; it is asked "
          "for, or read from standard input");
  group.command("list", "List the keys that have a secret, never their values").runs(list);
  addKeyed(group, "remove", "Remove a secret", remove);
}

}  // namespace halcyra

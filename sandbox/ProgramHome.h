#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "sandbox/ChildProcess.h"
#include "sandbox/TemporaryFolder.h"
#include "sandbox/TokenIssuer.h"
#include "text/Json.h"

namespace halcyra::sandbox {

struct IMAPMailbox {
  std::string id;
  std::string label;
  std::string host = "127.0.0.1";
  std::uint16_t port = 0;
  bool useTLS = false;
  std::string user;
};

/// The services of Google, Microsoft and Salesforce that a home's programs use in place of the real
/// ones.
struct ProviderAccess {
  std::string googleURL = {};
  std::string googleClientId = {};
  std::string microsoftURL = {};
  std::string microsoftClientId = {};
  std::string dataverseURL = {};
  std::string salesforceURL = {};
  std::string salesforceClientId = {};
  std::string googleClientSecret = {};
  std::string salesforceClientSecret = {};
};

/// A home of its own for one halcyra-cli: settings, memory of handled messages and secrets in a
/// temporary folder, so that nothing of the user's is read or changed.
class ProgramHome {
 public:
  /// `program` is the halcyra-cli to run.
  explicit ProgramHome(std::filesystem::path program);

  /// The content of config.json: the program's defaults, no mailbox, no rule.
  nlohmann::json settings;

  void addMailbox(const IMAPMailbox& mailbox);
  /// The program sends from the label when it is an address.
  void addGmailMailbox(const std::string& id, const std::string& label);
  void addGraphMailbox(const std::string& id, const std::string& label);
  /// Writes the files with the services' addresses and the client ids, and names them in the
  /// environment.
  void useProviders(const ProviderAccess& access);
  /// Connections to CRMs: a Dataverse environment by the sign-in of a Graph mailbox, and
  /// Salesforce.
  void addDynamicsConnection(const std::string& id, const std::string& mailbox,
                             const std::string& environmentURL);
  void addSalesforceConnection(const std::string& id);
  void addRule(const std::string& id, const std::string& name, const std::string& criteria,
               const std::string& action, bool isCatchAll = false);

  /// Writes config.json as it stands now.
  void save() const;

  /// Stores a secret through the program itself. Throws std::runtime_error when that fails.
  void storeSecret(const std::string& key, const std::string& value) const;

  /// Stores what a sign-in of the mailbox would have left, with the tokens for Dataverse
  /// environments that it was used for. Throws like storeSecret.
  void storeCredential(const std::string& mailbox, const IssuedTokens& tokens,
                       std::chrono::seconds lifetime = TokenIssuer::lifetime,
                       const std::map<std::string, IssuedTokens>& dataverse = {}) const;

  /// The same for a Salesforce sign-in of a CRM connection. The stand-in's instance is its own
  /// address.
  void storeSalesforceCredential(const std::string& connection, const IssuedTokens& tokens,
                                 const std::string& instanceURL) const;

  /// A command line of the program within this home.
  Command command(std::vector<std::string> arguments) const;

  std::filesystem::path configFile() const { return dataFolder() / "config.json"; }
  std::filesystem::path processedFile() const { return dataFolder() / "processed-ids.json"; }
  std::filesystem::path dataFolder() const { return folder_.path() / "data" / "Halcyra"; }
  const std::filesystem::path& folder() const { return folder_.path(); }

  /// Added to the environment of each run.
  std::map<std::string, std::string> environment;

 private:
  void addConnection(const std::string& id, const char* kind, const std::string& mailbox,
                     const std::string& environmentURL);
  void addProviderMailbox(const std::string& id, const std::string& label, const char* type);

  TemporaryFolder folder_;
  std::filesystem::path program_;
};

}  // namespace halcyra::sandbox

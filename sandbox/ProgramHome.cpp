#include "sandbox/ProgramHome.h"

#include <fstream>
#include <stdexcept>

namespace halcyra::sandbox {

using nlohmann::json;

namespace {

constexpr const char* defaultSettings = R"({
  "microsoftOAuthClientId": "",
  "mailAccounts": [],
  "imapHost": "", "imapPort": 993, "imapUseTLS": true, "imapUsername": "", "imapMailbox": "INBOX",
  "smtpHost": "", "smtpPort": 587, "smtpUseTLS": true, "smtpUseStartTLS": true, "smtpUsername": "",
  "rules": [], "crmConnectionProfiles": [],
  "llmBaseURL": "http://127.0.0.1:1/v1", "llmModel": "stand-in", "llmTemperature": 0.2,
  "llmMaxBodyChars": 12000,
  "classificationSystemPrompt": "",
  "pollingIntervalSeconds": 300, "useIDLE": true, "idleFallbackPollSeconds": 600,
  "quietHoursEnabled": false, "quietStartHour": 22, "quietEndHour": 7,
  "lowConfidenceThreshold": 0.5, "lowConfidenceAction": "popup"
})";

}  // namespace

ProgramHome::ProgramHome(std::filesystem::path program)
    : settings(json::parse(defaultSettings)), program_(std::move(program)) {
  std::filesystem::create_directories(dataFolder());
  environment = {
      {"HALCYRA_KEYCHAIN", "file"},
      {"XDG_DATA_HOME", (folder() / "data").string()},
      {"XDG_CONFIG_HOME", (folder() / "config").string()},
      // Neither the desktop nor a journal nor a proxy of the machine belongs to a sandbox.
      {"DBUS_SESSION_BUS_ADDRESS", ""},
      {"XDG_RUNTIME_DIR", ""},
      {"JOURNAL_STREAM", ""},
      {"http_proxy", ""},
      {"all_proxy", ""},
      {"ALL_PROXY", ""}};
}

void ProgramHome::addMailbox(const IMAPMailbox& mailbox) {
  settings["mailAccounts"].push_back({{"id", mailbox.id},
                                      {"enabled", true},
                                      {"displayLabel", mailbox.label},
                                      {"kind",
                                       {{"type", "imap"},
                                        {"imap",
                                         {{"host", mailbox.host},
                                          {"port", mailbox.port},
                                          {"useTLS", mailbox.useTLS},
                                          {"username", mailbox.user},
                                          {"mailbox", "INBOX"}}}}}});
}

void ProgramHome::addProviderMailbox(const std::string& id, const std::string& label,
                                     const char* type) {
  settings["mailAccounts"].push_back(
      {{"id", id}, {"enabled", true}, {"displayLabel", label}, {"kind", {{"type", type}}}});
}

void ProgramHome::addGmailMailbox(const std::string& id, const std::string& label) {
  addProviderMailbox(id, label, "googleGmail");
}

void ProgramHome::addGraphMailbox(const std::string& id, const std::string& label) {
  addProviderMailbox(id, label, "microsoftGraph");
}

void ProgramHome::useProviders(const ProviderAccess& access) {
  const auto write = [this](const char* variable, const char* name, const json& content) {
    const std::filesystem::path file = folder() / name;
    std::ofstream(file) << content.dump(2) << "\n";
    environment[variable] = file.string();
  };
  write("HALCYRA_ENDPOINTS", "endpoints.json",
        {{"google", access.googleURL},
         {"googleAccounts", access.googleURL},
         {"googleToken", access.googleURL},
         {"microsoftLogin", access.microsoftURL},
         {"graph", access.microsoftURL},
         {"dataverse", access.dataverseURL},
         {"salesforceLogin", access.salesforceURL}});
  write("HALCYRA_INFO", "Info.json",
        {{"HalcyraGoogleOAuthClientId", access.googleClientId},
         {"HalcyraMicrosoftOAuthClientId", access.microsoftClientId},
         {"HalcyraSalesforceOAuthClientId", access.salesforceClientId},
         {"HalcyraGoogleOAuthClientSecret", access.googleClientSecret},
         {"HalcyraSalesforceOAuthClientSecret", access.salesforceClientSecret}});
}

void ProgramHome::addConnection(const std::string& id, const char* kind, const std::string& mailbox,
                                const std::string& environmentURL) {
  settings["crmConnectionProfiles"].push_back({{"id", id},
                                               {"displayName", id},
                                               {"kind", kind},
                                               {"microsoftMailAccountId", mailbox},
                                               {"dataverseEnvironmentURL", environmentURL},
                                               {"salesforceLoginHost", ""}});
}

void ProgramHome::addDynamicsConnection(const std::string& id, const std::string& mailbox,
                                        const std::string& environmentURL) {
  addConnection(id, "dynamics365", mailbox, environmentURL);
}

void ProgramHome::addSalesforceConnection(const std::string& id) {
  addConnection(id, "salesforce", "", "");
}

void ProgramHome::addRule(const std::string& id, const std::string& name,
                          const std::string& criteria, const std::string& action, bool isCatchAll) {
  settings["rules"].push_back({{"id", id},
                               {"displayName", name},
                               {"criteriaPrompt", criteria},
                               {"action", action},
                               {"isCatchAll", isCatchAll}});
}

void ProgramHome::save() const {
  const std::filesystem::path written = configFile().string() + ".new";
  std::ofstream(written) << settings.dump(2) << "\n";
  std::filesystem::rename(written, configFile());
}

void ProgramHome::storeSecret(const std::string& key, const std::string& value) const {
  ChildProcess program(command({"secret", "set", key}));
  program.finishInput(value + "\n");
  const auto ending = program.wait(std::chrono::seconds(20));
  if (!ending || ending->status != 0) {
    throw std::runtime_error("cannot store the secret " + key + ": " + program.errors());
  }
}

void ProgramHome::storeCredential(const std::string& mailbox, const IssuedTokens& tokens,
                                  std::chrono::seconds lifetime,
                                  const std::map<std::string, IssuedTokens>& dataverse) const {
  // Stored dates count seconds from 2001-01-01 UTC.
  constexpr std::chrono::sys_days start = std::chrono::year(2001) / 1 / 1;
  const auto since = std::chrono::system_clock::now() + lifetime - start;
  const double expiry = std::chrono::duration<double>(since).count();
  json credential = {{"accessToken", tokens.accessToken}, {"expiresAt", expiry}};
  if (tokens.refreshToken) credential["refreshToken"] = *tokens.refreshToken;
  for (const auto& [environmentURL, issued] : dataverse) {
    credential["dataverseByEnvironment"][environmentURL] = {{"accessToken", issued.accessToken},
                                                            {"expiresAt", expiry}};
  }
  storeSecret("oauth.credential." + mailbox, credential.dump());
}

void ProgramHome::storeSalesforceCredential(const std::string& connection,
                                            const IssuedTokens& tokens,
                                            const std::string& instanceURL) const {
  json credential = {{"accessToken", tokens.accessToken},
                     {"loginHost", "https://login.salesforce.com"},
                     {"instanceURL", instanceURL}};
  if (tokens.refreshToken) credential["refreshToken"] = *tokens.refreshToken;
  storeSecret("oauth.salesforce." + connection, credential.dump());
}

Command ProgramHome::command(std::vector<std::string> arguments) const {
  arguments.insert(arguments.begin(), program_.string());
  return {arguments, environment};
}

}  // namespace halcyra::sandbox

#include "config/ConfigStore.h"

#include "config/ConfigJson.h"
#include "config/ConfigRepairs.h"
#include "config/KeychainHelper.h"

namespace halcyra {
namespace {

constexpr int mostUnusableFiles = 1000;

std::string unusableFileName(int number) {
  return number == 1 ? "config.unreadable.json"
                     : "config.unreadable-" + std::to_string(number) + ".json";
}

// The connections that an older configuration without a list of them had. An older Salesforce
// sign-in is stored again under its connection's own key.
std::vector<CRMConnectionProfile> legacyConnections(const AppConfig& config,
                                                    KeychainEnvelopeStorage& secrets) {
  std::vector<CRMConnectionProfile> connections;
  if (auto dynamics = legacyDynamicsConnection(config)) connections.push_back(std::move(*dynamics));
  if (const auto credential = secrets.readSecret(secretKey::olderSalesforceCredential)) {
    connections.push_back(legacySalesforceConnection(config));
    try {
      secrets.writeSecret(*credential,
                          secretKey::salesforceCredential(legacySalesforceConnectionId));
    } catch (const KeychainError&) {
      // The sign-in goes on working under its older key.
    }
  }
  return connections;
}

}  // namespace

ConfigStore::ConfigStore(FileStore& files, KeychainEnvelopeStorage& secrets,
                         const std::filesystem::path& folder)
    : files_(files), secrets_(secrets), folder_(folder), file_(folder / "config.json") {
  files_.createFolder(folder_);  // without it, writes fail later
  load();
  repair();
}

void ConfigStore::setConfig(AppConfig config) {
  config_ = std::move(config);
  if (observer_) observer_();
}

void ConfigStore::save() {
  if (isUnread_) {
    throw FileError(file_.string() +
                    " is left as it is, since it could not be read: " + loadProblem_);
  }
  const std::string text = encodeConfig(config_);
  keepUnusable();
  files_.writeAtomically(file_, text);
}

void ConfigStore::load() {
  try {
    if (const auto text = files_.read(file_)) decode(*text);
  } catch (const FileError& error) {
    isUnread_ = true;
    usesDefaults_ = true;
    loadProblem_ = error.what();
  }
}

void ConfigStore::decode(const std::string& text) {
  try {
    config_ = decodeConfig(text);
    loadProblem_ = discardedRules(text);
  } catch (const ConfigError& error) {
    usesDefaults_ = true;
    loadProblem_ = error.what();
  }
  if (!loadProblem_.empty()) unusableText_ = text;
}

// Makes sure that the only copy of what a person wrote is not lost with the file's replacement.
void ConfigStore::keepUnusable() {
  if (!unusableText_) return;
  for (int number = 1; number <= mostUnusableFiles; ++number) {
    const std::filesystem::path place = folder_ / unusableFileName(number);
    if (holdsAnother(place, *unusableText_)) continue;
    files_.writeAtomically(place, *unusableText_);
    unusableText_.reset();
    keptFile_ = place;
    return;
  }
  throw FileError(folder_.string() + " holds too many files named config.unreadable.json.");
}

// What cannot be read may be anything.
bool ConfigStore::holdsAnother(const std::filesystem::path& place, const std::string& text) {
  try {
    return files_.read(place).value_or(text) != text;
  } catch (const FileError&) {
    return true;
  }
}

void ConfigStore::repair() {
  for (const ConfigRepair apply : configRepairs) {
    AppConfig repaired = config_;
    apply(repaired);
    adopt(std::move(repaired));
  }
  if (!config_.crmConnectionProfiles.empty()) return;
  AppConfig repaired = config_;
  repaired.crmConnectionProfiles = legacyConnections(config_, secrets_);
  adopt(std::move(repaired));
}

void ConfigStore::adopt(AppConfig repaired) {
  if (repaired == config_) return;
  repaired.rules = repaired.effectiveRules();
  setConfig(std::move(repaired));
  try {
    save();
  } catch (const std::runtime_error&) {
    // The file stays as it was, and the next start repairs again.
  }
}

}  // namespace halcyra

#include "app/AppState.h"

#include <exception>
#include <utility>
#include <variant>

namespace halcyra {

namespace {

// The others are switched off and not removed, since rules may be scoped to them.
AppConfig watchingOnly(AppConfig config, const std::string& accountId) {
  for (MailAccount& account : config.mailAccounts) {
    account.enabled = account.enabled && account.id == accountId;
  }
  return config;
}

}  // namespace

AppState::AppState(AppServices services)
    : services_(services),
      sender_({.connector = services.sync.connector,
               .io = services.sync.io,
               .log = services.sync.log,
               .providers = services.providers}),
      leads_(services.crm, services.http, services.sync.log),
      actions_({.main = services.sync.main,
                .sender = sender_,
                .leads = leads_,
                .presenter = services.presenter,
                .http = services.http,
                .notifications = services.notifications,
                .log = services.sync.log,
                .secrets =
                    [&keychain = services.sync.secrets](const MailAccount& account) {
                      return mailSecretsFor(account, keychain.secretsSnapshot(), keychain);
                    },
                .providers = services.providers}) {
  ProcessorFactory makeProcessor = [this] {
    return std::make_shared<EmailProcessor>(TriageServices{.processed = services_.processed,
                                                           .underWay = underWay_,
                                                           .presenter = services_.presenter,
                                                           .http = services_.http,
                                                           .clock = services_.sync.clock,
                                                           .log = services_.sync.log,
                                                           .observer = services_.observer,
                                                           .actions = actions_,
                                                           .providers = services_.providers,
                                                           .meetings = services_.meetings});
  };
  worker_ = std::make_shared<MailSyncWorker>(services_.sync, std::move(makeProcessor));
  services_.configStore.setObserver([this] { changed(); });
  warmSecretCaches();
}

AppState::~AppState() {
  services_.configStore.setObserver({});
  worker_->stop();
}

void AppState::startMonitoring() {
  if (monitoringEnabled_) return;
  warmSecretCaches();
  worker_->start(configProvider(), secretsProvider(), statusSink());
  monitoringEnabled_ = true;
  statusMessage_ = "Monitoring…";
  changed();
}

void AppState::stopMonitoring() {
  worker_->stop();
  monitoringEnabled_ = false;
  statusMessage_ = "Stopped";
  changed();
}

Task<bool> AppState::runOnce(PassObserver passEnded, std::stop_token stop) {
  return worker_->runOnce(configProvider(), secretsProvider(), statusSink(), std::move(passEnded),
                          std::move(stop));
}

// Loops read secrets on the I/O executor; the first read may block behind a prompt and happens
// here.
void AppState::warmSecretCaches() {
  services_.sync.secrets.secretsSnapshot();
  if (services_.credentials == nullptr) return;
  for (const MailAccount& account : configProvider()().monitoredMailAccounts()) {
    if (std::holds_alternative<IMAPConnection>(account.kind)) continue;
    try {
      services_.credentials->loadCredential(account.id);
    } catch (const std::exception&) {
      // The mailbox's pass meets it again and says so.
    }
  }
}

void AppState::changed() {
  if (observer_) observer_();
}

MailboxStatusSink AppState::statusSink() {
  return [this](std::string accountId, std::string status, bool) {
    graphSyncStatusByAccountId_[accountId] = std::move(status);
    changed();
  };
}

ConfigProvider AppState::configProvider() {
  return [&store = services_.configStore, only = services_.onlyMailbox] {
    return only ? watchingOnly(store.config(), *only) : store.config();
  };
}

SecretsProvider AppState::secretsProvider() {
  return [&secrets = services_.sync.secrets] { return secrets.secretsSnapshot(); };
}

}  // namespace halcyra

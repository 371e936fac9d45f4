#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "config/ConfigStore.h"
#include "config/KeychainHelper.h"
#include "config/ProcessedMessageStore.h"
#include "platform/Notifications.h"
#include "signin/OAuthCredentialStore.h"
#include "triage/LeadActions.h"
#include "triage/MailRuleActions.h"
#include "triage/MailSender.h"
#include "triage/MailSyncWorker.h"
#include "triage/ProviderMail.h"

namespace halcyra {

/// What the application state is built from. All of it outlives the state and the worker's tasks.
struct AppServices {
  SyncServices sync;
  ConfigStore& configStore;
  ProcessedMessageStore& processed;
  HttpClient& http;
  Notifications& notifications;
  /// None where all mailboxes are IMAP.
  ProviderMail* providers = nullptr;
  CRMClients crm;
  /// What the model is told of their calendars; none where all mailboxes are IMAP.
  MeetingContext* meetings = nullptr;
  /// The sign-ins of these mailboxes; none where all mailboxes are IMAP.
  OAuthCredentialStore* credentials = nullptr;
  SuggestionPresenter& presenter;
  TriageObserver& observer;
  /// Watch this mailbox only.
  std::optional<std::string> onlyMailbox = std::nullopt;
};

/// The one observable object behind every face of the program: owns the worker, starts and stops
/// monitoring. Belongs to the main executor.
class AppState {
 public:
  /// Subscribes to the configuration and warms the secret caches. Monitoring never starts by
  /// itself.
  explicit AppState(AppServices services);
  ~AppState();
  AppState(const AppState&) = delete;
  AppState& operator=(const AppState&) = delete;

  /// Does nothing when monitoring is on.
  void startMonitoring();
  void stopMonitoring();

  bool monitoringEnabled() const { return monitoringEnabled_; }
  const std::string& statusMessage() const { return statusMessage_; }
  const std::map<std::string, std::string>& graphSyncStatusByAccountId() const {
    return graphSyncStatusByAccountId_;
  }

  /// Called after each change of what this object or the configuration shows.
  void setObserver(std::function<void()> observer) { observer_ = std::move(observer); }

  /// Ends when every task of an earlier monitoring has ended.
  Task<void> monitoringEnded() { return worker_->finished(); }

  /// Ends when no notification is on its way, of a forward or of an answered suggestion.
  Task<void> noticesPosted() { return actions_.noticesPosted(); }

  /// Is mail or a lead on its way out, so that the program should not end now?
  bool isSending() const { return actions_.isSending(); }

  /// One pass over each monitored mailbox. False when one could not be listed.
  Task<bool> runOnce(PassObserver passEnded, std::stop_token stop);

 private:
  void warmSecretCaches();
  void changed();
  MailboxStatusSink statusSink();
  ConfigProvider configProvider();
  SecretsProvider secretsProvider();

  AppServices services_;
  MailSender sender_;
  LeadActions leads_;
  MailRuleActions actions_;
  std::shared_ptr<MessagesUnderWay> underWay_ = std::make_shared<MessagesUnderWay>();
  std::shared_ptr<MailSyncWorker> worker_;
  std::function<void()> observer_;
  bool monitoringEnabled_ = false;
  std::string statusMessage_ = "Idle";
  std::map<std::string, std::string> graphSyncStatusByAccountId_;
};

}  // namespace halcyra

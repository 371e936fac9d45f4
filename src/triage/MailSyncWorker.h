#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <stop_token>
#include <string>

#include "config/AppConfig.h"
#include "config/KeychainHelper.h"
#include "platform/TaskGroup.h"
#include "triage/MailboxPass.h"

namespace halcyra {

/// The live configuration; called on the main executor.
using ConfigProvider = std::function<AppConfig()>;

/// The secrets of the moment; any thread may call.
using SecretsProvider = std::function<SecretsSnapshot()>;

/// A processor for one run of the coordinator; called on the main executor.
using ProcessorFactory = std::function<std::shared_ptr<EmailProcessor>()>;

/// Is told how a single pass ended, on the main executor.
using PassObserver = std::function<void(const MailAccount&, PassResult)>;

/// The pause between two polls of a mailbox: `pollingIntervalSeconds`, at least 15 s, at most 300
/// s.
std::chrono::milliseconds pollingPause(double pollingIntervalSeconds);

/// Keeps one polling loop running for each monitored mailbox. Belongs to the main executor; is held
/// by a shared pointer, and its tasks hold it only weakly.
class MailSyncWorker : public std::enable_shared_from_this<MailSyncWorker> {
 public:
  MailSyncWorker(SyncServices services, ProcessorFactory makeProcessor);

  /// Starts the coordinator, replacing a running one and its loops.
  void start(ConfigProvider config, SecretsProvider secrets,
             MailboxStatusSink microsoftSyncStatusSink);

  /// Cancels the coordinator and all loops. They end at their next look at it: between messages,
  /// between polls and in IDLE at once, otherwise when the network call under way returns.
  void stop();

  /// Ends when no task of the worker is running.
  Task<void> finished() { return tasks_.drained(); }

  /// One pass over each monitored mailbox, all at once, without IDLE and without a pause. False
  /// when a mailbox could not be listed.
  Task<bool> runOnce(ConfigProvider config, SecretsProvider secrets,
                     MailboxStatusSink microsoftSyncStatusSink, PassObserver passEnded,
                     std::stop_token stop);

 private:
  struct Run;
  struct Loop;
  struct SinglePasses;

  static Task<void> singlePass(std::shared_ptr<SinglePasses> once, AppConfig live,
                               MailAccount account);
  static Task<void> coordinate(std::weak_ptr<MailSyncWorker> weak, std::shared_ptr<Run> run);
  static Task<void> accountLoop(std::weak_ptr<MailSyncWorker> weak, std::shared_ptr<Run> run,
                                std::string accountId, std::shared_ptr<Loop> loop);
  static Task<std::chrono::milliseconds> loopTurn(std::shared_ptr<Run> run, std::string accountId,
                                                  std::stop_token stop);

  std::shared_ptr<Run> makeRun(ConfigProvider config, SecretsProvider secrets,
                               std::stop_token stop);
  void reconcile(const std::shared_ptr<Run>& run);

  SyncServices services_;
  ProcessorFactory makeProcessor_;
  std::stop_source coordinatorTask_;
  std::map<std::string, std::shared_ptr<Loop>> accountLoopTasks_;
  MailboxStatusSink microsoftSyncStatusSink_;
  std::shared_ptr<MissingClientIdNotices> missingClientIdNotices_ =
      std::make_shared<MissingClientIdNotices>();
  TaskGroup tasks_;
};

}  // namespace halcyra

#include "triage/MailSyncWorker.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>
#include <set>
#include <utility>

#include "text/ControlCharacters.h"
#include "text/Trim.h"

namespace halcyra {

/// One run of the coordinator: what its loops share. Outlives the worker if a loop does.
struct MailSyncWorker::Run {
  SyncServices services;
  ConfigProvider config;
  SecretsProvider secrets;
  std::shared_ptr<EmailProcessor> processor;
  MailboxStatusSink status;
  std::shared_ptr<MissingClientIdNotices> notices;
  std::stop_token stop;

  PassOrder order(AppConfig live, MailAccount account, IdleUse idle, std::stop_token passStop) {
    return {.services = services,
            .processor = processor,
            .config = std::move(live),
            .secrets = secrets(),
            .account = std::move(account),
            .status = status,
            .notices = notices,
            .idle = idle,
            .stop = std::move(passStop)};
  }
};

/// A mailbox's loop. `ended` tells the coordinator that it may start another.
struct MailSyncWorker::Loop {
  std::stop_source task;
  std::atomic<bool> ended = false;
};

/// One pass over each mailbox, and what came of them.
struct MailSyncWorker::SinglePasses {
  std::shared_ptr<Run> run;
  PassObserver passEnded;
  bool allListed = true;
  std::exception_ptr failure = nullptr;
};

namespace {

constexpr std::chrono::seconds reconciliationPause(5);

/// Instead of a pause: the mailbox is not monitored any more.
constexpr std::chrono::milliseconds mailboxGone(-1);

Task<AppConfig> readConfig(ConfigProvider provider) {
  co_return provider();
}

std::optional<MailAccount> monitoredAccount(const AppConfig& config, const std::string& id) {
  for (MailAccount& account : config.monitoredMailAccounts()) {
    if (account.id == id) return std::move(account);
  }
  return std::nullopt;
}

}  // namespace

std::chrono::milliseconds pollingPause(double pollingIntervalSeconds) {
  const double seconds =
      std::isnan(pollingIntervalSeconds) ? 15.0 : std::clamp(pollingIntervalSeconds, 15.0, 300.0);
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

MailSyncWorker::MailSyncWorker(SyncServices services, ProcessorFactory makeProcessor)
    : services_(services), makeProcessor_(std::move(makeProcessor)), tasks_(services.main) {}

void MailSyncWorker::start(ConfigProvider config, SecretsProvider secrets,
                           MailboxStatusSink microsoftSyncStatusSink) {
  microsoftSyncStatusSink_ = std::move(microsoftSyncStatusSink);
  stop();
  coordinatorTask_ = std::stop_source();
  auto run = makeRun(std::move(config), std::move(secrets), coordinatorTask_.get_token());
  tasks_.spawn(services_.main, coordinate(weak_from_this(), std::move(run)));
}

void MailSyncWorker::stop() {
  coordinatorTask_.request_stop();
  for (auto& [id, loop] : accountLoopTasks_) loop->task.request_stop();
  accountLoopTasks_.clear();
}

std::shared_ptr<MailSyncWorker::Run> MailSyncWorker::makeRun(ConfigProvider config,
                                                             SecretsProvider secrets,
                                                             std::stop_token stop) {
  return std::make_shared<Run>(Run{services_, std::move(config), std::move(secrets),
                                   makeProcessor_(), microsoftSyncStatusSink_,
                                   missingClientIdNotices_, std::move(stop)});
}

Task<void> MailSyncWorker::coordinate(std::weak_ptr<MailSyncWorker> weak,
                                      std::shared_ptr<Run> run) {
  while (!run->stop.stop_requested()) {
    if (const auto worker = weak.lock()) {
      worker->reconcile(run);
    } else {
      co_return;
    }
    Task<void> pause = run->services.clock.sleep(reconciliationPause, run->stop);
    co_await std::move(pause);
  }
}

// One loop for each monitored mailbox, none for any other.
void MailSyncWorker::reconcile(const std::shared_ptr<Run>& run) {
  std::set<std::string> monitored;
  for (const MailAccount& account : run->config().monitoredMailAccounts()) {
    monitored.insert(account.id);
  }
  std::erase_if(accountLoopTasks_, [&](const auto& entry) {
    const auto& [id, loop] = entry;
    if (!monitored.contains(id)) loop->task.request_stop();
    return loop->ended || !monitored.contains(id);
  });
  for (const std::string& id : monitored) {
    auto& loop = accountLoopTasks_[id];
    if (loop) continue;
    loop = std::make_shared<Loop>();
    tasks_.spawn(services_.io, accountLoop(weak_from_this(), run, id, loop));
  }
}

Task<void> MailSyncWorker::accountLoop(std::weak_ptr<MailSyncWorker> weak, std::shared_ptr<Run> run,
                                       std::string accountId, std::shared_ptr<Loop> loop) {
  const std::stop_token stop = loop->task.get_token();
  while (!stop.stop_requested() && !weak.expired()) {
    Task<std::chrono::milliseconds> turn = loopTurn(run, accountId, stop);
    const std::chrono::milliseconds pause = co_await std::move(turn);
    if (pause == mailboxGone) break;
    Task<void> sleep = run->services.clock.sleep(pause, stop);
    co_await std::move(sleep);
  }
  loop->ended = true;
}

// One pass with the settings of the moment; gives the pause until the next. No error stops a loop.
Task<std::chrono::milliseconds> MailSyncWorker::loopTurn(std::shared_ptr<Run> run,
                                                         std::string accountId,
                                                         std::stop_token stop) {
  std::chrono::milliseconds pause = pollingPause(0);
  try {
    Task<AppConfig> reading = runOn(run->services.main, readConfig(run->config));
    AppConfig config = co_await std::move(reading);
    std::optional<MailAccount> account = monitoredAccount(config, accountId);
    if (!account) co_return mailboxGone;
    pause = pollingPause(config.pollingIntervalSeconds);
    Task<PassResult> pass =
        runPass(run->order(std::move(config), std::move(*account), IdleUse::asConfigured, stop));
    co_await std::move(pass);
  } catch (const std::exception& error) {
    run->services.log.logLine("Pass over mailbox " + onOneLine(accountId) +
                              " broke off: " + onOneLine(error.what()));
  }
  co_return pause;
}

Task<bool> MailSyncWorker::runOnce(ConfigProvider config, SecretsProvider secrets,
                                   MailboxStatusSink microsoftSyncStatusSink,
                                   PassObserver passEnded, std::stop_token stop) {
  microsoftSyncStatusSink_ = std::move(microsoftSyncStatusSink);
  const auto once = std::make_shared<SinglePasses>(SinglePasses{
      makeRun(std::move(config), std::move(secrets), std::move(stop)), std::move(passEnded)});
  const AppConfig live = once->run->config();
  // Side by side, since one server that does not answer must not keep the others waiting.
  TaskGroup passes(services_.main);
  for (const MailAccount& account : live.monitoredMailAccounts()) {
    passes.spawn(services_.main, singlePass(once, live, account));
  }
  co_await passes.drained();
  if (once->failure) std::rethrow_exception(once->failure);
  co_return once->allListed;
}

Task<void> MailSyncWorker::singlePass(std::shared_ptr<SinglePasses> once, AppConfig live,
                                      MailAccount account) {
  const std::shared_ptr<Run>& run = once->run;
  try {
    PassOrder order = run->order(std::move(live), account, IdleUse::never, run->stop);
    Task<PassResult> pass = runOn(run->services.io, runPass(std::move(order)));
    const PassResult result = co_await std::move(pass);
    once->passEnded(account, result);
    once->allListed = once->allListed && result == PassResult::done;
  } catch (...) {
    once->failure = std::current_exception();
  }
}

}  // namespace halcyra

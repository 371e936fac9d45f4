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
  std::stop_token stop;
};

/// A mailbox's loop. `ended` tells the coordinator that it may start another.
struct MailSyncWorker::Loop {
  std::stop_source task;
  std::atomic<bool> ended = false;
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

/// What every mail of one pass is handed over with.
struct HandOver {
  Executor main;
  std::shared_ptr<EmailProcessor> processor;
  AppConfig config;
  MailAccount account;
  MailSecrets secrets;

  Task<bool> operator()(ParsedMail mail) const {
    auto incoming = std::make_shared<const IncomingMail>(std::move(mail), config, account);
    return runOn(main, processor->processMail(std::move(incoming), secrets));
  }
};

enum class IdleUse { asConfigured, never };

/// What one pass over one mailbox is made of.
struct PassOrder {
  SyncServices services;
  std::shared_ptr<EmailProcessor> processor;
  AppConfig config;
  SecretsSnapshot secrets;
  MailAccount account;
  IdleUse idle = IdleUse::asConfigured;
  std::stop_token stop;
};

Task<PassResult> runPass(PassOrder order) {
  const auto* imap = std::get_if<IMAPConnection>(&order.account.kind);
  if (imap == nullptr) co_return PassResult::notConfigured;
  HandOver process{order.services.main, order.processor, order.config, order.account,
                   mailSecretsFor(order.account, order.secrets, order.services.secrets)};
  IMAPPassContext context{.account = order.account,
                          .connection = *imap,
                          .password = order.secrets.imapPassword,
                          .useIDLE = order.config.useIDLE && order.idle == IdleUse::asConfigured,
                          .idleFallbackPollSeconds = order.config.idleFallbackPollSeconds,
                          .stop = order.stop,
                          .connector = order.services.connector,
                          .clock = order.services.clock,
                          .log = order.services.log,
                          .process = std::move(process)};
  Task<PassResult> pass = runIMAPPass(std::move(context));
  co_return co_await std::move(pass);
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
  return std::make_shared<Run>(
      Run{services_, std::move(config), std::move(secrets), makeProcessor_(), std::move(stop)});
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
    PassOrder order{run->services,
                    run->processor,
                    std::move(config),
                    run->secrets(),
                    std::move(*account),
                    IdleUse::asConfigured,
                    stop};
    Task<PassResult> pass = runPass(std::move(order));
    co_await std::move(pass);
  } catch (const std::exception& error) {
    run->services.log.logLine("Pass over mailbox " + onOneLine(accountId) +
                              " broke off: " + onOneLine(error.what()));
  }
  co_return pause;
}

Task<bool> MailSyncWorker::runOnce(ConfigProvider config, SecretsProvider secrets,
                                   PassObserver passEnded, std::stop_token stop) {
  const std::shared_ptr<Run> run = makeRun(std::move(config), std::move(secrets), std::move(stop));
  const AppConfig live = run->config();
  bool allListed = true;
  for (const MailAccount& account : live.monitoredMailAccounts()) {
    if (run->stop.stop_requested()) break;
    PassOrder order{run->services, run->processor, live,     run->secrets(),
                    account,       IdleUse::never, run->stop};
    Task<PassResult> pass = runOn(services_.io, runPass(std::move(order)));
    const PassResult result = co_await std::move(pass);
    passEnded(account, result);
    allListed = allListed && result == PassResult::done;
  }
  co_return allListed;
}

}  // namespace halcyra

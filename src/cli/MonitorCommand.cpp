#include <unistd.h>

#include <boost/asio/detached.hpp>

#include "app/AppState.h"
#include "cli/Command.h"
#include "cli/Messages.h"
#include "cli/MonitorFace.h"
#include "cli/StopSignals.h"
#include "platform/TaskGroup.h"
#include "platform/linux/InstanceLock.h"
#include "text/ControlCharacters.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

struct MonitorOptions {
  bool once = false;
  bool json = false;
  std::optional<std::string> mailbox;
};

std::vector<MailAccount> chosenMailboxes(const AppConfig& config,
                                         const std::optional<std::string>& only) {
  std::vector<MailAccount> chosen = config.monitoredMailAccounts();
  if (only) std::erase_if(chosen, [&](const MailAccount& account) { return account.id != *only; });
  return chosen;
}

// A loop passes over such a mailbox in silence on every poll, so it is said once at the start.
void warnOfUnwatchable(const MailAccount& account, bool hasPassword, std::ostream& err) {
  const std::string mailbox = "mailbox \"" + onOneLine(account.displayLabel) + "\" ";
  const auto* imap = std::get_if<IMAPConnection>(&account.kind);
  if (imap == nullptr) return;  // these say for themselves what they lack
  if (trimmed(imap->host).empty() || trimmed(imap->username).empty()) {
    complain(err, mailbox +
                      "is not watched: set its host and username with \"halcyra-cli config "
                      "edit\"");
  } else if (!hasPassword) {
    complain(err, mailbox +
                      "is not watched: set the IMAP password with \"halcyra-cli secret set "
                      "imap.password\"");
  }
}

std::string joinedLabels(const std::vector<MailAccount>& accounts) {
  std::string labels;
  for (const MailAccount& account : accounts) {
    if (!labels.empty()) labels += ", ";
    labels += onOneLine(account.displayLabel);
  }
  return labels;
}

/// The part of a face that takes answers, running beside the monitoring.
class Answers {
 public:
  Answers(Executor main, MonitorFace& face) : face_(face), tasks_(main) {
    tasks_.spawn(main, face.takeAnswers());
  }

  void stop() { face_.stopTakingAnswers(); }

  /// Ends when no answer is being written or sent any more.
  Task<void> ended() {
    co_await tasks_.drained();
    co_await face_.sendsEnded();
  }

 private:
  MonitorFace& face_;
  TaskGroup tasks_;
};

void tellUncertainSend(const AppState& state, MonitorFace& face) {
  if (!state.isSending()) return;
  face.status(
      "A message or a lead is still being sent; a second signal ends without waiting, and it may "
      "go out twice.");
}

Task<int> watch(AppState& state, MonitorFace& face, StopSignals& signals) {
  Answers answers(co_await boost::asio::this_coro::executor, face);
  state.startMonitoring();
  face.status(state.statusMessage());
  co_await signals.first();
  state.stopMonitoring();
  face.status(state.statusMessage());
  answers.stop();
  tellUncertainSend(state, face);
  co_await state.monitoringEnded();
  co_await answers.ended();
  co_await state.noticesPosted();
  signals.cancel();
  co_return face.lostOutput() ? 1 : 0;
}

Task<void> stopOnSignal(StopSignals& signals, const AppState& state, MonitorFace& face,
                        std::stop_source stop) {
  const bool signalled = co_await signals.first();
  if (!signalled) co_return;
  stop.request_stop();
  tellUncertainSend(state, face);
}

Task<int> passOnce(AppState& state, MonitorFace& face, StopSignals& signals) {
  std::stop_source stop;
  const Executor executor = co_await boost::asio::this_coro::executor;
  Task<void> stopping = stopOnSignal(signals, state, face, stop);
  boost::asio::co_spawn(executor, std::move(stopping), boost::asio::detached);
  Answers answers(executor, face);
  PassObserver passEnded = [&face](const MailAccount& account, PassResult result) {
    face.passEnded(account, result);
  };
  Task<bool> pass = state.runOnce(std::move(passEnded), stop.get_token());
  const bool allListed = co_await std::move(pass);
  answers.stop();
  co_await answers.ended();
  co_await state.noticesPosted();
  signals.cancel();
  co_return (allListed || stop.stop_requested()) && !face.lostOutput() ? 0 : 1;
}

// A single pass does not wait for anybody, so it only shows what it suggests.
std::unique_ptr<MonitorFace> faceFor(const MonitorOptions& options, Session& session) {
  FaceExecutors executors{session.app.mainContext().get_executor(), session.app.blockingExecutor()};
  if (options.json) return jsonMonitorFace(std::move(executors));
  const bool canAnswer = session.interactive && isatty(STDOUT_FILENO) && !options.once;
  if (!canAnswer) return textMonitorFace();
  return terminalMonitorFace(std::move(executors), session.app.variables());
}

/// Shows what becomes of the Graph mailboxes, each state once.
class GraphStatusLines {
 public:
  GraphStatusLines(AppState& state, MonitorFace& face) : state_(state), face_(face) {
    state_.setObserver([this] { showNew(); });
  }
  ~GraphStatusLines() { state_.setObserver({}); }
  GraphStatusLines(const GraphStatusLines&) = delete;
  GraphStatusLines& operator=(const GraphStatusLines&) = delete;

 private:
  void showNew() {
    for (const auto& [mailbox, text] : state_.graphSyncStatusByAccountId()) {
      std::string& shown = shown_[mailbox];
      if (std::exchange(shown, text) != text) {
        face_.status(onOneLine(mailbox) + ": " + onOneLine(text));
      }
    }
  }

  AppState& state_;
  MonitorFace& face_;
  std::map<std::string, std::string> shown_;
};

int monitor(const MonitorOptions& options, Session& session) {
  Composition& app = session.app;
  ConfigStore& configStore = openConfig(session);
  KeychainHelper& secrets = openSecrets(session);
  const std::vector<MailAccount> mailboxes = chosenMailboxes(configStore.config(), options.mailbox);
  if (mailboxes.empty()) {
    throw std::runtime_error(options.mailbox
                                 ? "no mailbox \"" + *options.mailbox +
                                       "\" is switched on; see \"halcyra-cli mailbox list\""
                                 : "no mailbox is switched on; " + addMailboxHint(session));
  }
  secrets.storage().keys();  // says why, when the secrets cannot be read at all
  const bool hasPassword = !secrets.secretsSnapshot().imapPassword.empty();
  for (const MailAccount& account : mailboxes) warnOfUnwatchable(account, hasPassword, session.err);

  const InstanceLock alone(app.paths().settings / "monitor.lock",
                           "another monitor is running on these settings; stop that one first");
  const auto face = faceFor(options, session);
  Providers& providers = app.providers(face->log());
  AppState state({.sync = {.main = app.mainContext().get_executor(),
                           .io = app.ioExecutor(),
                           .connector = app.connector(),
                           .secrets = secrets,
                           .clock = app.clock(),
                           .log = face->log(),
                           .providers = &providers.sync()},
                  .configStore = configStore,
                  .processed = app.processed(),
                  .http = app.http(),
                  .notifications = app.notifications(),
                  .providers = &providers.mail(),
                  .crm = providers.crm(),
                  .meetings = &providers.meetings(),
                  .credentials = &providers.credentials(),
                  .presenter = *face,
                  .observer = *face,
                  .onlyMailbox = options.mailbox});
  StopSignals signals(app.mainContext().get_executor(), [&state] { return state.isSending(); });
  face->status("Mailboxes: " + joinedLabels(mailboxes) + ".");
  GraphStatusLines statusLines(state, *face);
  const int exitCode =
      app.run(options.once ? passOnce(state, *face, signals) : watch(state, *face, signals));
  if (face->lostOutput()) complain(session.err, "standard output cannot be written");
  return exitCode;
}

}  // namespace

void addMonitorCommand(const CommandSyntax& program) {
  auto options = std::make_shared<MonitorOptions>();
  const CommandSyntax command =
      program.command("monitor", "Watch the mailboxes and triage today's unread mail until Ctrl-C");
  command.flag("--once", options->once,
               "One pass over each mailbox, then end; exit code 1 if one could not be listed");
  command.value("--mailbox", options->mailbox, "Watch this mailbox only", {.name = "ID"});
  command.flag("--json", options->json,
               "Events on standard output, one JSON object a line; log lines on standard error");
  command.footer(
      "At a terminal each suggested reply is a card that takes a letter and Enter: s send, e edit\n"
      "and send, r consider as another rule, c copy, n not now, l list, ? help. Without one, and\n"
      "with --once, it is printed and counts as \"not now\".\n\n"
      "Events of --json, by their key \"event\": status, decision, suggestion, pass, answer.\n"
      "Commands on standard input, one JSON object a line, each answered by an event \"answer\":\n"
      "  {\"command\":\"send\",\"key\":K,\"text\":T}   K is the key of a suggestion; with "
      "\"ruleId\"\n"
      "                                          one of its rule options is carried out instead\n"
      "  {\"command\":\"dismiss\",\"key\":K}");
  command.runs([options](Session& session) { return monitor(*options, session); });
}

}  // namespace halcyra

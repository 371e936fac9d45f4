// The program at work: a day of sample mail at a Dovecot, at Gmail and at Outlook, a submission
// server, a model, halcyra-cli, and somebody who answers some of its suggestions. Then a table of
// what it decided and what the servers hold afterwards.

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string>

#include "sandbox/ChildProcess.h"
#include "sandbox/DemoReport.h"
#include "sandbox/DemoSetup.h"

namespace halcyra::sandbox {

namespace {

using nlohmann::json;
using std::chrono::steady_clock;

/// A model of the user's own may take its time.
constexpr std::chrono::minutes longestRun(15);

volatile sig_atomic_t stopRequested = 0;  // the signal

struct Interrupted {};

std::string text(const json& event, const char* key) {
  return event.value(key, std::string());
}

std::string actionText(const json& event) {
  const std::string action = text(event, "action");
  if (action == "Do nothing") return "filed, nothing to do";
  if (action == "Forward and notify me") return "forwarded to bookkeeping";
  if (action == "Run custom automation") return "lead in both CRMs, reply suggested";
  return "reply suggested";
}

std::string decisionText(const json& event) {
  const std::string outcome = text(event, "outcome");
  if (outcome == "prefilterSkipped") return "bulk, kept from the model";
  if (outcome == "lowConfidenceSuggested") return "unsure, shown to you";
  if (outcome == "lowConfidenceSkipped") return "unsure, left unread";
  if (outcome == "modelFailed") return "model failed, tried again later";
  if (outcome == "actionFailed") return "action failed, tried again later";
  if (outcome == "noRules" || outcome == "noCatchAll") return "no rule applies";
  return actionText(event);
}

std::string deciderText(const json& event) {
  if (event.contains("test")) return "prefilter: " + text(event, "test");
  if (event.contains("ruleName")) return "rule: " + text(event, "ruleName");
  return event.contains("confidence") ? "no rule, too unsure" : "";
}

/// The person at the program: reads its events, sends the drafts of one rule, leaves the others.
class Person {
 public:
  Person(ChildProcess& program, std::vector<DemoRow>& rows) : program_(program), rows_(rows) {}

  void see(const json& event) {
    const std::string kind = text(event, "event");
    if (kind == "answer") return hear(event);
    const auto row = std::ranges::find(rows_, text(event, "messageID"), &DemoRow::messageID);
    if (row == rows_.end()) return;
    if (kind == "suggestion") consider(event, *row);
    if (kind == "decision") note(event, *row);
  }

  // A message that the provider files as bulk is not downloaded, and only the log tells of it.
  void seeLog(const std::string& log) {
    for (DemoRow& row : rows_) {
      if (row.providerID.empty() || !row.decidedBy.empty()) continue;
      const std::size_t end = log.find("): " + row.providerID + "\n");
      if (end == log.npos) continue;
      const std::size_t start = log.rfind('(', end) + 1;
      row.decision = "bulk, not even downloaded";
      row.decidedBy = "prefilter: " + log.substr(start, end - start);
      ++decided_;
    }
  }

  bool isDone() const {
    const auto today = std::ranges::count_if(rows_, &DemoRow::isOfToday);
    return decided_ >= today && waitingAnswers_ == 0;
  }

 private:
  void consider(const json& event, DemoRow& row) {
    row.draft = text(event, "draft");
    if (text(event, "ruleName") != DemoOffice::answeredRule || row.draft.empty()) return;
    const json command = {{"command", "send"}, {"key", text(event, "key")}, {"text", row.draft}};
    program_.writeInput(command.dump() + "\n");
    row.answering = true;
    ++waitingAnswers_;
  }

  void hear(const json& event) {
    --waitingAnswers_;
    const std::string key = text(event, "key");
    const auto row = std::ranges::find_if(
        rows_, [&](const DemoRow& r) { return key.ends_with("\x1E" + r.messageID); });
    if (row != rows_.end()) row->answered = event.value("done", false);
  }

  void note(const json& event, DemoRow& row) {
    ++decided_;
    row.subject = text(event, "subject");
    row.from = text(event, "from");
    row.decision = decisionText(event);
    row.decidedBy = deciderText(event);
    if (event.contains("confidence")) row.confidence = event["confidence"].get<double>();
  }

  ChildProcess& program_;
  std::vector<DemoRow>& rows_;
  std::ptrdiff_t decided_ = 0;
  int waitingAnswers_ = 0;
};

[[noreturn]] void giveUp(const ChildProcess& program, const std::string& why) {
  throw std::runtime_error(why + ". halcyra-cli said:\n" + program.errors());
}

// Lets the program work until every message of today is decided and every answer is sent.
void watchTheProgram(const ProgramHome& home, std::vector<DemoRow>& rows) {
  ChildProcess program(home.command({"monitor", "--json"}));
  Person person(program, rows);
  const auto deadline = steady_clock::now() + longestRun;
  while (!person.isDone()) {
    if (stopRequested) throw Interrupted();
    person.seeLog(program.errors());
    if (const auto line = program.readLine(std::chrono::milliseconds(200))) {
      person.see(json::parse(*line));
    } else if (program.wait(std::chrono::milliseconds(0))) {
      giveUp(program, "halcyra-cli ended before its work was done");
    } else if (steady_clock::now() > deadline) {
      giveUp(program, "halcyra-cli took too long");
    }
  }
  // The last message is marked after its decision was told; a clean stop waits for that.
  if (program.stop(std::chrono::seconds(60)).status != 0) {
    giveUp(program, "halcyra-cli did not stop cleanly");
  }
  if (program.errors().find("LLM error") != std::string::npos) {
    std::cerr << "The model did not answer every time. halcyra-cli said:\n" << program.errors();
  }
}

// Every message of today with a decision and marked, yesterday's untouched, every forward and
// every answer out once, every lead in both CRMs.
bool everythingAsPromised(const std::vector<DemoRow>& rows, std::size_t sent, std::size_t leads) {
  std::size_t promised = 0;
  std::size_t promisedLeads = 0;
  for (const DemoRow& row : rows) {
    promised += std::size_t{row.answering} + (row.decision.starts_with("forwarded") ? 1 : 0);
    promisedLeads += row.decision.starts_with("lead in both") ? 2 : 0;
  }
  return sent == promised && leads == promisedLeads &&
         std::ranges::all_of(rows, [](const DemoRow& row) {
           if (!row.isOfToday) return !row.seen;
           return !row.decidedBy.empty() && row.seen && row.answering == row.answered;
         });
}

void introduce(const DemoOffice& office, const DemoModel& model, std::size_t messages) {
  std::cout << "\n  Halcyra looks through three inboxes with " << messages << " unread messages.\n"
            << "  IMAP: Dovecot on 127.0.0.1:" << office.mail.port()
            << ", with a submission server on 127.0.0.1:" << office.submission.port() << ".\n"
            << "  Gmail and Outlook: stand-ins on 127.0.0.1:"
            << office.providers.googleServer.port()
            << " and 127.0.0.1:" << office.providers.microsoftServer.port() << ".\n"
            << "  Dynamics 365 and Salesforce: stand-ins on 127.0.0.1:"
            << office.providers.dataverseServer.port()
            << " and 127.0.0.1:" << office.providers.salesforceServer.port() << ".\n"
            << "  Model: " << model.description() << ".\n"
            << std::flush;
}

void sumUp(const std::vector<DemoRow>& rows, std::chrono::duration<double> took) {
  const auto asked =
      std::ranges::count_if(rows, [](auto& row) { return row.confidence.has_value(); });
  char seconds[16];
  std::snprintf(seconds, sizeof seconds, "%.1f", took.count());
  std::cout
      << "\n  " << std::ranges::count_if(rows, &DemoRow::isOfToday) << " messages of today in "
      << seconds << " s, " << asked << " of them shown to the model.\n"
      << "  Server: what the servers hold now. Read: Halcyra marked it there. Tagged: with this "
         "label at\n  Gmail, this category at Outlook. Unread: not touched.\n"
      << "  Sent: the demo answered suggestions of the rule “" << DemoOffice::answeredRule
      << "” as you would; the other drafts were left.\n";
}

int runDemo() {
  const auto program =
      std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "halcyra-cli";
  DemoModel model;
  DemoOffice office;
  const std::vector<std::string> appointments = fillCalendar(office);
  std::vector<DemoRow> rows = deliverSamples(office);
  ProgramHome home(program);
  configure(home, office, model);

  introduce(office, model, rows.size());
  const auto started = steady_clock::now();
  watchTheProgram(home, rows);
  const auto took = steady_clock::now() - started;
  readBack(office, rows);
  const std::vector<SubmittedMessage> submitted = office.submission.received();
  const std::vector<ProviderSent> provided = sentThroughProviders(office);
  const std::vector<DemoLead> leads = leadsOf(office);

  std::cout << demoReport(office.mailboxes(), rows, thisScreen())
            << calendarReport(appointments, thisScreen()) << leadReport(leads, thisScreen())
            << submissionReport(submitted, thisScreen()) << providerReport(provided, thisScreen());
  sumUp(rows, took);
  if (!everythingAsPromised(rows, submitted.size() + provided.size(), leads.size())) {
    std::cerr << "\nhalcyra-demo: not every message ended as it should; run "
                 "“build/release/halcyra-cli monitor --once” on a mailbox of your own to see the "
                 "log, or ./test e2e\n";
    return 1;
  }
  std::cout << "\n  Next: README.md tells how to watch a mailbox of your own.\n\n";
  return 0;
}

void watchForStop() {
  struct sigaction action {};
  action.sa_handler = [](int number) { stopRequested = number; };
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaction(number, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

}  // namespace

}  // namespace halcyra::sandbox

int main() {
  using namespace halcyra::sandbox;
  watchForStop();
  try {
    return runDemo();
  } catch (const Interrupted&) {
    std::cerr << "\nhalcyra-demo: interrupted; servers stopped, temporary files removed\n";
    return 128 + stopRequested;
  } catch (const std::exception& error) {
    std::cerr << "halcyra-demo: " << error.what() << "\n";
    return 1;
  }
}

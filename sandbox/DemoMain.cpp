// The program at work: a Dovecot with a day of sample mail, a model, one pass of halcyra-cli, and a
// table of what it decided and what the server holds afterwards.

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "sandbox/ChildProcess.h"
#include "sandbox/DemoReport.h"
#include "sandbox/DovecotServer.h"
#include "sandbox/LoopbackHttpServer.h"
#include "sandbox/ModelStandIn.h"
#include "sandbox/ProgramHome.h"
#include "sandbox/SampleMail.h"

namespace halcyra::sandbox {

namespace {

using std::chrono::system_clock;

constexpr const char* user = "robin@alder-tools.example.com";
constexpr const char* password = "plum cake";

volatile sig_atomic_t stopRequested = 0;  // the signal

struct Interrupted {};

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

/// The model that answers: the one that the environment names, or the stand-in.
struct DemoModel {
  std::unique_ptr<LoopbackHttpServer> standIn;
  std::string baseURL = variable("HALCYRA_LLM_BASE_URL");
  std::string name = variable("HALCYRA_LLM_MODEL");
  std::string key = variable("HALCYRA_LLM_API_KEY");

  DemoModel() {
    if (!baseURL.empty()) {
      if (name.empty()) throw std::runtime_error("set HALCYRA_LLM_MODEL to the model's name");
      return;
    }
    name = "stand-in";
    key = "sandbox key";
    standIn = std::make_unique<LoopbackHttpServer>(ModelStandIn(key));
    baseURL = standIn->baseURL() + "/v1";
  }

  std::string description() const {
    return standIn ? "the sandbox stand-in (counts words, understands nothing)"
                   : name + " at " + baseURL;
  }
};

// Sample times lie in the minutes before now, but never before today.
system_clock::time_point minutesAgo(int minutes) {
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  std::tm local{};
  localtime_r(&seconds, &local);
  local.tm_hour = local.tm_min = local.tm_sec = 0;
  local.tm_isdst = -1;
  const auto midnight = system_clock::from_time_t(std::mktime(&local));
  return std::max(midnight, now - std::chrono::minutes(minutes));
}

// The value of a header that the samples write on one line.
std::string headerOf(const std::string& message, const std::string& name) {
  const std::size_t at = message.find("\n" + name + ": ") + name.size() + 3;
  return message.substr(at, message.find('\n', at) - at);
}

std::vector<DemoRow> deliverSamples(DovecotServer& server) {
  std::vector<DemoRow> rows;
  const auto files = sampleFiles();
  int minutes = static_cast<int>(files.size()) * 7;
  for (const auto& file : files) {
    const auto moment = minutesAgo(minutes -= 7);
    const std::string message = sampleMessage(file, moment);
    server.deliver(user, message, moment);
    rows.push_back({.messageID = headerOf(message, "Message-ID"), .subject = "", .from = ""});
  }
  const auto yesterday = system_clock::now() - std::chrono::hours(25);
  const std::string older = sampleMessage(olderSampleFile(), yesterday);
  server.deliver(user, older, yesterday);
  rows.push_back({.messageID = headerOf(older, "Message-ID"),
                  .subject = headerOf(older, "Subject"),
                  .from = headerOf(older, "From"),
                  .decision = "from yesterday, left alone"});
  return rows;
}

void configure(ProgramHome& home, const DovecotServer& server, const DemoModel& model) {
  home.addMailbox(
      {.id = "demo-inbox", .label = "Alder Tools", .port = server.port(), .user = user});
  home.addRule("5B0E6A52-9C0C-4E6B-8E0A-6C1F4D2A7B01", "Support",
               "Support requests: problems, errors, crashes, login or password trouble, requests "
               "for help (aide, problème, erreur, connexion; Hilfe, Fehler, Problem).",
               "notifyWithSuggestion");
  home.addRule("5B0E6A52-9C0C-4E6B-8E0A-6C1F4D2A7B02", "Sales",
               "Sales enquiries: somebody wants to buy, asks for a price, a quote, an offer or a "
               "discount (acheter, prix, devis; kaufen, Preis, Angebot).",
               "notifyWithSuggestion");
  home.addRule("5B0E6A52-9C0C-4E6B-8E0A-6C1F4D2A7B03", "Invoices",
               "Invoices, bills, receipts and payment reminders (facture; Rechnung, Mahnung).",
               "doNothing");
  home.settings["rules"].back()["mailboxTagName"] = "Bookkeeping";
  home.addRule("5B0E6A52-9C0C-4E6B-8E0A-6C1F4D2A7B04", "Meetings",
               "Somebody wants to meet: a meeting, a call, an appointment, a time in the calendar "
               "(réunion, rendez-vous; Termin, Treffen).",
               "notifyWithSuggestion");
  home.addRule("5B0E6A52-9C0C-4E6B-8E0A-6C1F4D2A7B05", "Other",
               "Use when none of the other rules clearly apply.", "notifyWithSuggestion", true);
  home.settings["llmBaseURL"] = model.baseURL;
  home.settings["llmModel"] = model.name;
  home.save();
  home.storeSecret("imap.password", password);
  if (!model.key.empty()) home.storeSecret("llm.apiKey", model.key);
}

std::string text(const nlohmann::json& event, const char* key) {
  return event.value(key, std::string());
}

std::string decisionText(const nlohmann::json& event) {
  const std::string outcome = text(event, "outcome");
  if (outcome == "prefilterSkipped") return "bulk, kept from the model";
  if (outcome == "lowConfidenceSuggested") return "unsure, shown to you";
  if (outcome == "lowConfidenceSkipped") return "unsure, left unread";
  if (outcome == "modelFailed") return "model failed, tried again later";
  if (outcome == "actionFailed") return "action failed, tried again later";
  if (outcome == "noRules" || outcome == "noCatchAll") return "no rule applies";
  return text(event, "action") == "Do nothing" ? "filed, nothing to do" : "reply suggested";
}

std::string deciderText(const nlohmann::json& event) {
  if (event.contains("test")) return "prefilter: " + text(event, "test");
  if (event.contains("ruleName")) return "rule: " + text(event, "ruleName");
  return event.contains("confidence") ? "no rule, too unsure" : "";
}

void takeEvent(const nlohmann::json& event, std::vector<DemoRow>& rows) {
  const auto row = std::ranges::find(rows, text(event, "messageID"), &DemoRow::messageID);
  if (row == rows.end()) return;
  if (text(event, "event") == "suggestion") row->draft = text(event, "draft");
  if (text(event, "event") != "decision") return;
  row->subject = text(event, "subject");
  row->from = text(event, "from");
  row->decision = decisionText(event);
  row->decidedBy = deciderText(event);
  if (event.contains("confidence")) row->confidence = event["confidence"].get<double>();
}

// One pass of the program; its events go into the rows.
void runOnePass(const ProgramHome& home, std::vector<DemoRow>& rows) {
  ChildProcess program(home.command({"monitor", "--once", "--json"}));
  program.finishInput();
  while (true) {
    if (stopRequested) throw Interrupted();
    if (const auto line = program.readLine(std::chrono::milliseconds(200))) {
      takeEvent(nlohmann::json::parse(*line), rows);
    } else if (program.wait(std::chrono::milliseconds(0))) {
      break;
    }
  }
  if (stopRequested) throw Interrupted();
  while (const auto line = program.readLine(std::chrono::milliseconds(0))) {
    takeEvent(nlohmann::json::parse(*line), rows);
  }
  if (program.wait(std::chrono::seconds(0))->status != 0) {
    throw std::runtime_error("halcyra-cli could not read the mailbox. It said:\n" +
                             program.errors());
  }
  if (program.errors().find("LLM error") != std::string::npos) {
    std::cerr << "The model did not answer every time. halcyra-cli said:\n" << program.errors();
  }
}

// Every message of today with a decision, and marked exactly when it was finished with.
bool everythingAsPromised(const std::vector<DemoRow>& rows) {
  const auto today = rows.size() - 1;
  return !rows.back().seen &&
         std::all_of(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(today),
                     [](const DemoRow& row) { return !row.decidedBy.empty() && row.seen; });
}

int runDemo() {
  const auto program =
      std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "halcyra-cli";
  DemoModel model;
  DovecotServer server({.users = {{user, password}}});
  std::vector<DemoRow> rows = deliverSamples(server);
  ProgramHome home(program);
  configure(home, server, model);

  std::cout << "\n  Halcyra looks through the inbox of " << user << ".\n"
            << "  Mail server: Dovecot on 127.0.0.1:" << server.port() << ", " << rows.size()
            << " unread messages.\n  Model: " << model.description() << ".\n"
            << std::flush;
  const auto started = std::chrono::steady_clock::now();
  runOnePass(home, rows);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - started;
  for (DemoRow& row : rows) row.seen = server.seen(user, row.messageID);

  std::cout << demoReport(rows, thisScreen());
  const auto asked =
      std::ranges::count_if(rows, [](auto& row) { return row.confidence.has_value(); });
  char seconds[16];
  std::snprintf(seconds, sizeof seconds, "%.1f", took.count());
  std::cout << "\n  " << rows.size() - 1 << " messages of today in " << seconds << " s, " << asked
            << " of them shown to the model.\n"
            << "  Seen: Halcyra set \\Seen on the server, as read back from Dovecot. Unseen: not "
               "touched.\n";
  if (!everythingAsPromised(rows)) {
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

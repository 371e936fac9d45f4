#include "sandbox/DemoSetup.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <stdexcept>

#include "sandbox/ModelStandIn.h"
#include "sandbox/SampleMail.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;
using std::chrono::system_clock;

constexpr const char* password = "plum cake";

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

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

std::string ruleId(int number) {
  return "5B0E6A52-9C0C-4E6B-8E0A-6C1F4D2A7B0" + std::to_string(number);
}

void addRules(ProgramHome& home) {
  json& rules = home.settings["rules"];
  home.addRule(ruleId(1), DemoOffice::answeredRule,
               "Support requests: problems, errors, crashes, login or password trouble, requests "
               "for help (aide, problème, erreur, connexion; Hilfe, Fehler, Problem).",
               "notifyWithSuggestion");
  home.addRule(ruleId(2), "Sales",
               "Sales enquiries: somebody wants to buy, asks for a price, a quote, an offer or a "
               "discount (acheter, prix, devis; kaufen, Preis, Angebot).",
               "runCustomAutomation");
  rules.back()["customAutomationId"] = "demo-sales";
  home.settings["customAutomations"] = {
      {{"id", "demo-sales"},
       {"displayName", "Hand over to sales"},
       {"steps",
        {{{"id", "step-1"}, {"kind", "forwardSilently"}, {"forwardTo", DemoOffice::sales}},
         {{"id", "step-2"}, {"kind", "suggestReply"}}}}}};
  home.addRule(ruleId(3), "Invoices",
               "Invoices, bills, receipts and payment reminders (facture; Rechnung, Mahnung).",
               "forwardAndNotify");
  rules.back()["forwardTo"] = DemoOffice::bookkeeping;
  home.addRule(ruleId(4), "Meetings",
               "Somebody wants to meet: a meeting, a call, an appointment, a time in the calendar "
               "(réunion, rendez-vous; Termin, Treffen).",
               "notifyWithSuggestion");
  home.addRule(ruleId(5), "Other", "Use when none of the other rules clearly apply.",
               "notifyWithSuggestion", true);
}

}  // namespace

DemoModel::DemoModel()
    : baseURL_(variable("HALCYRA_LLM_BASE_URL")),
      name_(variable("HALCYRA_LLM_MODEL")),
      key_(variable("HALCYRA_LLM_API_KEY")) {
  if (!baseURL_.empty()) {
    if (name_.empty()) throw std::runtime_error("set HALCYRA_LLM_MODEL to the model's name");
    return;
  }
  name_ = "stand-in";
  key_ = "sandbox key";
  standIn_ = std::make_unique<LoopbackHttpServer>(ModelStandIn(key_));
  baseURL_ = standIn_->baseURL() + "/v1";
}

std::string DemoModel::description() const {
  return standIn_ ? "the sandbox stand-in (counts words, understands nothing)"
                  : name_ + " at " + baseURL_;
}

DemoOffice::DemoOffice()
    : mail({.users = {{user, password}}}), submission({.users = {{user, password}}}) {}

std::vector<DemoRow> deliverSamples(DemoOffice& office) {
  std::vector<DemoRow> rows;
  const auto files = sampleFiles();
  int minutes = static_cast<int>(files.size()) * 7;
  for (const auto& file : files) {
    const auto moment = minutesAgo(minutes -= 7);
    const std::string message = sampleMessage(file, moment);
    office.mail.deliver(DemoOffice::user, message, moment);
    rows.push_back({.messageID = headerOf(message, "Message-ID"), .subject = "", .from = ""});
  }
  const auto yesterday = system_clock::now() - std::chrono::hours(25);
  const std::string older = sampleMessage(olderSampleFile(), yesterday);
  office.mail.deliver(DemoOffice::user, older, yesterday);
  rows.push_back({.messageID = headerOf(older, "Message-ID"),
                  .subject = headerOf(older, "Subject"),
                  .from = headerOf(older, "From"),
                  .decision = "from yesterday, left alone"});
  return rows;
}

void configure(ProgramHome& home, const DemoOffice& office, const DemoModel& model) {
  home.addMailbox({.id = "demo-inbox",
                   .label = "Alder Tools",
                   .port = office.mail.port(),
                   .user = DemoOffice::user});
  addRules(home);
  home.settings["smtpHost"] = "127.0.0.1";
  home.settings["smtpPort"] = office.submission.port();
  home.settings["smtpUseStartTLS"] = false;
  home.settings["smtpUsername"] = DemoOffice::user;
  home.settings["llmBaseURL"] = model.baseURL();
  home.settings["llmModel"] = model.name();
  home.save();
  home.storeSecret("imap.password", password);
  home.storeSecret("smtp.password", password);
  if (!model.key().empty()) home.storeSecret("llm.apiKey", model.key());
}

}  // namespace halcyra::sandbox

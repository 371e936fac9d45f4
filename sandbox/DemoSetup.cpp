#include "sandbox/DemoSetup.h"

#include <cstdlib>
#include <stdexcept>

#include "sandbox/ModelStandIn.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

constexpr const char* environment = DataverseStandIn::environment;

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
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
  rules.back()["mailboxTagName"] = "Support";
  home.addRule(ruleId(2), "Sales",
               "Sales enquiries: somebody wants to buy, asks for a price, a quote, an offer or a "
               "discount (acheter, prix, devis; kaufen, Preis, Angebot).",
               "runCustomAutomation");
  rules.back()["customAutomationId"] = "demo-sales";
  rules.back()["mailboxTagName"] = "Sales";
  home.settings["customAutomations"] = {
      {{"id", "demo-sales"},
       {"displayName", "Open a lead and answer"},
       {"steps",
        {{{"id", "1"}, {"kind", "createDynamicsLead"}, {"connectionId", "demo-dynamics"}},
         {{"id", "2"}, {"kind", "createSalesforceLead"}, {"connectionId", "demo-salesforce"}},
         {{"id", "3"}, {"kind", "suggestReply"}}}}}};
  home.addRule(ruleId(3), "Invoices",
               "Invoices, bills, receipts and payment reminders (facture; Rechnung, Mahnung).",
               "forwardAndNotify");
  rules.back()["forwardTo"] = DemoOffice::bookkeeping;
  rules.back()["mailboxTagName"] = "Bookkeeping";
  home.addRule(ruleId(4), "Meetings",
               "Somebody wants to meet: a meeting, a call, an appointment, a time in the calendar "
               "(réunion, rendez-vous; Termin, Treffen).",
               "notifyWithSuggestion");
  home.addRule(ruleId(5), "Other", "Use when none of the other rules clearly apply.",
               "notifyWithSuggestion", true);
}

void storeSignIns(const ProgramHome& home, DemoOffice& office) {
  ProviderServers& providers = office.providers;
  home.storeCredential("gmail", providers.google.signIn());
  home.storeCredential("outlook", providers.microsoft.signIn(), TokenIssuer::lifetime,
                       {{environment, providers.microsoft.signInTo(environment)}});
  home.storeSalesforceCredential("demo-salesforce", providers.salesforce.signIn(),
                                 providers.salesforceServer.baseURL());
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

void configure(ProgramHome& home, DemoOffice& office, const DemoModel& model) {
  home.addMailbox({.id = "office",
                   .label = "Alder Tools",
                   .port = office.mail.port(),
                   .user = DemoOffice::user});
  home.addGmailMailbox("gmail", DemoOffice::gmailUser);
  home.addGraphMailbox("outlook", DemoOffice::outlookUser);
  home.useProviders(office.providers.access());
  addRules(home);
  home.addDynamicsConnection("demo-dynamics", "outlook", environment);
  home.addSalesforceConnection("demo-salesforce");
  home.settings["prefilterSkippedMailboxTag"] = "Bulk";
  home.settings["smtpHost"] = "127.0.0.1";
  home.settings["smtpPort"] = office.submission.port();
  home.settings["smtpUseStartTLS"] = false;
  home.settings["smtpUsername"] = DemoOffice::user;
  home.settings["llmBaseURL"] = model.baseURL();
  home.settings["llmModel"] = model.name();
  home.save();
  home.storeSecret("imap.password", DemoOffice::password);
  home.storeSecret("smtp.password", DemoOffice::password);
  storeSignIns(home, office);
  if (!model.key().empty()) home.storeSecret("llm.apiKey", model.key());
}

}  // namespace halcyra::sandbox

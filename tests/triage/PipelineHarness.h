#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ManualClock.h"
#include "support/MemoryFiles.h"
#include "support/ModelDouble.h"
#include "support/RecordingLog.h"
#include "support/RunTask.h"
#include "triage/EmailProcessor.h"

namespace halcyra {

/// Everything around one EmailProcessor, recorded as short words in `effects` in the order in which
/// it happened.
struct PipelineHarness : SuggestionPresenter, TriageObserver, RuleActions, ProviderMail {
  PipelineHarness() {
    config.mailAccounts = {{.id = "box", .displayLabel = "Work", .kind = IMAPConnection{}}};
    config.rules = {
        {.id = "support", .displayName = "Support", .criteriaPrompt = "help"},
        {.id = "other", .displayName = "Other", .criteriaPrompt = "else", .isCatchAll = true}};
    mail = {.accountId = "box",
            .uid = 7,
            .messageID = "<m@x>",
            .subject = "Hello",
            .from = "a@b",
            .rawRFC822 = "Subject: Hello\r\n\r\nbody",
            .bodyText = "body"};
  }

  EmailProcessor processor() {
    return EmailProcessor({.processed = store,
                           .underWay = underWay,
                           .presenter = *this,
                           .http = model,
                           .clock = clock,
                           .log = log,
                           .observer = *this,
                           .actions = *this,
                           .providers = this});
  }

  SharedIncomingMail incoming() const {
    return std::make_shared<const IncomingMail>(mail, config, config.mailAccounts.at(0));
  }

  bool process() {
    EmailProcessor once = processor();
    return runTask(once.processMail(incoming(), {"smtp-secret", "model-secret"}));
  }

  void answer(const std::string& ruleId, double confidence, const std::string& draft = "") {
    model.reply =
        nlohmann::json{{"rule_id", ruleId}, {"confidence", confidence}, {"draft_reply", draft}}
            .dump();
  }

  bool recorded() const { return store.contains(messageKey(mail.accountId, mail.messageID)); }

  void present(Suggestion suggestion) override {
    effects.push_back("present " + (suggestion.rule ? suggestion.rule->id : "-") + " \"" +
                      suggestion.draft + "\"" + (recorded() ? " recorded" : ""));
    suggestions.push_back(std::move(suggestion));
  }

  void decided(const TriageDecision& decision) override { decisions.push_back(decision); }

  Task<bool> act(std::string word) {
    effects.push_back(std::move(word) + (files.staged == 1 ? "" : " WITHOUT A PREPARED RECORD"));
    co_return actionsSucceed;
  }
  Task<bool> forwardMail(RuleActionContext, std::string address, ForwardNotice notice) override {
    return act((notice == ForwardNotice::notify ? "forward+notify " : "forward ") + address);
  }
  Task<bool> createDynamicsLead(RuleActionContext) override { return act("dynamics"); }
  Task<bool> createSalesforceLead(RuleActionContext) override { return act("salesforce"); }
  Task<bool> runCustomAutomation(RuleActionContext context) override {
    return act("automation " + context.rule.customAutomationId);
  }
  SendReply popupSend(SharedIncomingMail) override { return {}; }

  Task<void> markProcessed(const IncomingMail&, std::optional<std::string> tag) override {
    effects.push_back("mark " + tag.value_or("-") + (recorded() ? "" : " BEFORE THE RECORD"));
    if (markingFails) throw std::runtime_error("no route");
    co_return;
  }
  Task<void> provide(std::string word) {
    effects.push_back(std::move(word));
    if (answersGetLost) throw HttpError(HttpError::Kind::unanswered, "no\nanswer");
    if (markingFails) throw std::runtime_error("no\nroute");
    co_return;
  }
  Task<void> addTag(const IncomingMail&, std::string tag) override { return provide("tag " + tag); }
  Task<void> forward(const IncomingMail&, std::string from, std::string to) override {
    return provide("provider forward " + from + " " + to);
  }
  Task<void> reply(const IncomingMail&, OutgoingReply reply) override {
    return provide("provider reply " + reply.from + " " + reply.to + " " +
                   reply.references.value_or("-") + " " + reply.body);
  }

  MemoryFiles files;
  ProcessedMessageStore store{files, "/data"};
  std::shared_ptr<MessagesUnderWay> underWay = std::make_shared<MessagesUnderWay>();
  ModelDouble model;
  ManualClock clock;
  RecordingLog log;
  AppConfig config;
  ParsedMail mail;
  bool actionsSucceed = true;
  bool markingFails = false;
  bool answersGetLost = false;
  std::vector<std::string> effects;
  std::vector<Suggestion> suggestions;
  std::vector<TriageDecision> decisions;
};

}  // namespace halcyra

#include "triage/EmailProcessor.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <utility>

#include "classification/MarketingPrefilter.h"
#include "classification/PromptComposition.h"
#include "text/ControlCharacters.h"
#include "text/Graphemes.h"
#include "text/Trim.h"
#include "triage/ModelFailure.h"
#include "triage/QuietHours.h"

namespace halcyra {

/// One message on its way through the pipeline.
struct EmailProcessor::Case {
  Case(SharedIncomingMail in, MailSecrets with)
      : incoming(std::move(in)),
        secrets(std::move(with)),
        mail(incoming->mail),
        config(incoming->config),
        account(incoming->account),
        key(messageKey(mail.accountId, mail.messageID)),
        shownID(onOneLine(mail.messageID)) {}

  const SharedIncomingMail incoming;
  const MailSecrets secrets;
  const ParsedMail& mail;
  const AppConfig& config;
  const MailAccount& account;
  const std::string key;
  const std::string shownID;
  std::vector<MailRule> rules;
  TriageDecision decision;
  PreparedInsert record;
};

namespace {

std::string shortestDecimal(double value) {
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  return {digits, end};
}

std::string ruleLogPrefix(const MailRule& rule) {
  return "Rule ‘" + onOneLine(rule.displayName) + "’ ";
}

}  // namespace

Task<bool> EmailProcessor::processMail(SharedIncomingMail incoming, MailSecrets secrets) {
  Case c(std::move(incoming), std::move(secrets));
  if (services_.processed.contains(c.key)) co_return false;
  const MessagesUnderWay::Claim claim(services_.underWay, c.key);
  if (!claim.granted()) co_return false;
  const TimePoint now = services_.clock.now();
  if (quietHoursInForce(c.config, services_.clock.localTime(now).hour)) co_return false;

  c.decision.accountId = c.account.id;
  c.decision.mailboxLabel = c.config.mailboxLabel(c.account.id);
  c.decision.messageID = c.mail.messageID;
  c.decision.subject = c.mail.subject;
  c.decision.from = c.mail.from;
  std::string failure;
  try {
    co_return co_await decide(c);
  } catch (const std::exception& error) {
    failure = error.what();
  }
  logAbout(c, "Message not handled (" + onOneLine(failure) + "): " + c.shownID);
  co_return report(c, TriageOutcome::actionFailed, false);
}

Task<bool> EmailProcessor::decide(Case& c) {
  if (const auto reason = marketingSkipReason(c.mail, c.config)) {
    co_return co_await skipAsBulk(c, *reason);
  }
  c.rules = c.config.rulesForMailbox(c.account.id);
  if (c.rules.empty()) {
    logAbout(c, "No rules apply to mailbox " + onOneLine(c.account.displayLabel) + " (" +
                    onOneLine(c.account.id) + "); skipping: " + c.shownID);
    co_return report(c, TriageOutcome::noRules, false);
  }
  const std::optional<ClassificationResult> answer = co_await askModel(c);
  if (!answer) co_return report(c, TriageOutcome::modelFailed, false);
  c.decision.confidence = answer->confidence;
  if (answer->confidence < c.config.lowConfidenceThreshold) {
    co_return co_await handleLowConfidence(c, *answer);
  }
  const MailRule* rule = chooseRule(c, trimmed(answer->ruleId));
  if (rule == nullptr) co_return report(c, TriageOutcome::noCatchAll, false);
  c.decision.rule = *rule;
  co_return co_await dispatch(c, *rule, *answer);
}

Task<bool> EmailProcessor::skipAsBulk(Case& c, PrefilterSkipReason reason) {
  logAbout(c, "Prefilter skip (" + std::string(skipReasonLabel(reason)) + "): " + c.shownID);
  record(c);
  c.decision.skipReason = reason;
  Task<void> marking = markProcessedAtProvider(c, c.config.prefilterSkipTag(reason));
  co_await std::move(marking);
  co_return report(c, TriageOutcome::prefilterSkipped, true);
}

Task<std::optional<ClassificationResult>> EmailProcessor::askModel(Case& c) {
  LLMClient model(services_.http, {.baseURL = c.config.llmBaseURL,
                                   .model = c.config.llmModel,
                                   .temperature = c.config.llmTemperature,
                                   .apiKey = c.secrets.llmAPIKey});
  Task<std::string> looking = calendarContext(c);
  const std::string calendar = co_await std::move(looking);
  std::string failure;
  try {
    std::string system = composeClassificationSystemPrompt(c.config, c.account.id, calendar);
    std::string user = classificationUserMessage(c.mail.classificationEmailText());
    Task<ClassificationResult> asking =
        model.classify(std::move(system), std::move(user), c.config.llmMaxBodyChars);
    co_return co_await std::move(asking);
  } catch (const std::exception& error) {
    failure = error.what();
  }
  logAbout(c, "LLM error: " + shownModelFailure(failure, c.mail));
  co_return std::nullopt;
}

Task<std::string> EmailProcessor::calendarContext(Case& c) {
  if (services_.meetings == nullptr) co_return std::string();
  Task<std::string> looking = services_.meetings->meetingContext(c.account, c.config);
  co_return co_await std::move(looking);
}

Task<bool> EmailProcessor::handleLowConfidence(Case& c, const ClassificationResult& answer) {
  if (c.config.lowConfidenceAction == LowConfidenceAction::skip) {
    logAbout(c,
             "Low confidence (" + shortestDecimal(answer.confidence) + "), skipped: " + c.shownID);
    co_return report(c, TriageOutcome::lowConfidenceSkipped, false);
  }
  present(c, answer, std::nullopt);
  record(c);
  Task<void> marking = markProcessedAtProvider(c, std::nullopt);
  co_await std::move(marking);
  co_return report(c, TriageOutcome::lowConfidenceSuggested, true);
}

// The rule that the model named, else the catch-all, else none.
const MailRule* EmailProcessor::chooseRule(const Case& c, std::string_view answeredId) {
  for (const MailRule& rule : c.rules) {
    if (rule.id == answeredId) return &rule;
  }
  const std::string shownRuleId = onOneLine(graphemePrefix(answeredId, 100));
  if (!answeredId.empty()) {
    logAbout(c, "Unknown rule_id from model: " + shownRuleId + "; using catch-all.");
  }
  for (const MailRule& rule : c.rules) {
    if (rule.isCatchAll) return &rule;
  }
  logAbout(c, "No rule for id " + shownRuleId + "; no catch-all.");
  return nullptr;
}

Task<bool> EmailProcessor::dispatch(Case& c, const MailRule& rule,
                                    const ClassificationResult& answer) {
  switch (rule.action) {
    case MailRuleAction::notifyWithSuggestion:
      present(c, answer, rule);
      co_return co_await finish(c, rule);
    case MailRuleAction::doNothing:
      logAbout(c, ruleLogPrefix(rule) + "matched with action 'Do nothing': " + c.shownID);
      co_return co_await finish(c, rule);
    case MailRuleAction::forwardAndNotify:
      co_return co_await forward(c, rule, ForwardNotice::notify);
    case MailRuleAction::forwardSilently:
      co_return co_await forward(c, rule, ForwardNotice::silent);
    case MailRuleAction::dynamicsCreateLead:
      if (!std::holds_alternative<MicrosoftGraph>(c.account.kind)) {
        logAbout(c, ruleLogPrefix(rule) +
                        "creates a Dynamics lead but account is not Microsoft Graph: " + c.shownID);
        co_return report(c, TriageOutcome::actionFailed, false);
      }
      break;
    case MailRuleAction::salesforceCreateLead:
    case MailRuleAction::runCustomAutomation:
      break;
  }
  const bool done = co_await runAction(c, rule);
  if (!done) co_return report(c, TriageOutcome::actionFailed, false);
  co_return co_await finish(c, rule);
}

Task<bool> EmailProcessor::forward(Case& c, const MailRule& rule, ForwardNotice notice) {
  std::string address(trimmed(rule.forwardTo));
  if (address.empty()) {
    logAbout(c, ruleLogPrefix(rule) + "forwards but has no address; marking handled: " + c.shownID);
    co_return co_await finish(c, rule);
  }
  RuleActionContext context{c.incoming, rule, c.secrets};
  prepareRecord(c);
  Task<bool> forwarding =
      services_.actions.forwardMail(std::move(context), std::move(address), notice);
  const bool sent = co_await std::move(forwarding);
  if (!sent) co_return report(c, TriageOutcome::actionFailed, false);
  co_return co_await finish(c, rule);
}

Task<bool> EmailProcessor::runAction(Case& c, const MailRule& rule) {
  RuleActionContext context{c.incoming, rule, c.secrets};
  RuleActions& actions = services_.actions;
  prepareRecord(c);
  Task<bool> acting = rule.action == MailRuleAction::dynamicsCreateLead
                          ? actions.createDynamicsLead(std::move(context))
                      : rule.action == MailRuleAction::salesforceCreateLead
                          ? actions.createSalesforceLead(std::move(context))
                          : actions.runCustomAutomation(std::move(context));
  co_return co_await std::move(acting);
}

void EmailProcessor::present(const Case& c, const ClassificationResult& answer,
                             std::optional<MailRule> rule) {
  std::string draft(trimmed(answer.draftReply.value_or("")));
  services_.presenter.present(suggestionFor(c.incoming, std::move(draft), std::move(rule),
                                            services_.actions.popupSend(c.incoming)));
}

// Recorded before anything is marked at the server, so that a message marked read always has its
// record.
Task<bool> EmailProcessor::finish(Case& c, const MailRule& rule) {
  record(c);
  std::optional<std::string> tag = cleanedTag(rule.mailboxTagName);
  if (tag->empty()) tag.reset();
  Task<void> marking = markProcessedAtProvider(c, std::move(tag));
  co_await std::move(marking);
  co_return report(c, TriageOutcome::actionDone, true);
}

// Before what must not happen twice: if the program ends after it and before the record, the next
// start does it again. So as much as can be is done ahead.
void EmailProcessor::prepareRecord(Case& c) {
  c.record = services_.processed.prepare(c.key);
}

// A message whose record did not reach the disk still counts as handled and is marked: the mark
// keeps it from being handled again at the next start. Said once each time that the disk begins to
// fail.
void EmailProcessor::record(Case& c) {
  services_.processed.insert(c.key, std::move(c.record));
  const bool isKept = services_.processed.isOnDisk();
  if (!isKept && recordWasKept_) {
    logAbout(
        c,
        "Handled messages cannot be recorded: make room on the disk of the settings folder, or "
        "make it writable. Messages at the server are marked all the same.");
  }
  recordWasKept_ = isKept;
}

// A failure here never undoes the record: the message stays unread at the provider and is not
// looked at again.
Task<void> EmailProcessor::markProcessedAtProvider(Case& c, std::optional<std::string> tag) {
  if (c.mail.providerRESTId.value_or("").empty() || services_.providers == nullptr) co_return;
  std::string failure;
  try {
    Task<void> marking = services_.providers->markProcessed(*c.incoming, std::move(tag));
    co_await std::move(marking);
    co_return;
  } catch (const std::exception& error) {
    failure = error.what();
  }
  const bool graph = std::holds_alternative<MicrosoftGraph>(c.account.kind);
  logAbout(c, std::string(graph ? "Graph" : "Gmail") + " mark processed: " + onOneLine(failure));
}

bool EmailProcessor::report(Case& c, TriageOutcome outcome, bool handled) {
  c.decision.outcome = outcome;
  c.decision.recorded = handled && services_.processed.isOnDisk();
  services_.observer.decided(c.decision);
  return handled;
}

void EmailProcessor::logAbout(const Case& c, const std::string& text) {
  LogFields fields = {{"MAILBOX", c.account.id}, {"MESSAGE_KEY", c.key}};
  if (c.decision.rule) fields.push_back({"RULE", c.decision.rule->displayName});
  if (c.decision.confidence) {
    fields.push_back({"CONFIDENCE", shortestDecimal(*c.decision.confidence)});
  }
  services_.log.logLine(text, fields);
}

}  // namespace halcyra

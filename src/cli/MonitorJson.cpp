#include <unistd.h>

#include "app/GeneralQuestionTabHostController.h"
#include "classification/MarketingPrefilter.h"
#include "cli/InputLines.h"
#include "cli/JsonAnswers.h"
#include "cli/MonitorFace.h"
#include "mail/MailAddress.h"
#include "platform/linux/JournalLog.h"
#include "text/Json.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

using nlohmann::json;

json ruleOptions(const std::vector<PopupRuleOverrideOption>& options) {
  json list = json::array();
  for (const PopupRuleOverrideOption& option : options) {
    list.push_back(
        {{"ruleId", option.ruleId}, {"title", option.title}, {"actionLabel", option.actionLabel}});
  }
  return list;
}

class JsonFace : public MonitorFace {
 public:
  explicit JsonFace(FaceExecutors executors)
      : lines_(std::move(executors.blocking), STDIN_FILENO),
        answers_(std::move(executors.main), [this](const json& event) { tell(event); }) {}

  Log& log() override { return log_; }

  void status(const std::string& text) override { tell({{"event", "status"}, {"text", text}}); }

  void decided(const TriageDecision& decision) override {
    json event = {{"event", "decision"},
                  {"mailbox", decision.accountId},
                  {"mailboxLabel", decision.mailboxLabel},
                  {"messageID", decision.messageID},
                  {"subject", decision.subject},
                  {"from", decision.from},
                  {"outcome", outcomeName(decision.outcome)},
                  {"recorded", decision.recorded}};
    if (decision.skipReason) event["test"] = skipReasonLabel(*decision.skipReason);
    if (decision.confidence) event["confidence"] = *decision.confidence;
    if (decision.rule) {
      event["ruleId"] = decision.rule->id;
      event["ruleName"] = decision.rule->displayName;
      event["action"] = actionLabel(decision.rule->action);
    }
    tell(event);
  }

  void present(Suggestion suggestion) override {
    const ParsedMail& mail = *suggestion.mail;
    const std::string key = suggestionTabKey(mail);
    if (answers_.isWaiting(key)) return;  // it was told, and keeps its first draft
    json event = {
        {"event", "suggestion"},       {"key", key},
        {"mailbox", mail.accountId},   {"mailboxLabel", suggestion.mailboxLabel},
        {"messageID", mail.messageID}, {"subject", mail.subject},
        {"from", mail.from},           {"replyTo", extractMailAddress(mail.from).value_or("")},
        {"draft", suggestion.draft},   {"ruleOptions", ruleOptions(suggestion.ruleOverrides)}};
    if (suggestion.rule) {
      event["ruleId"] = suggestion.rule->id;
      event["ruleName"] = suggestion.rule->displayName;
    }
    emit(event);
    answers_.add(std::move(suggestion));
  }

  Task<void> takeAnswers() override {
    while (true) {
      Task<std::optional<std::string>> reading = lines_.next();
      const std::optional<std::string> line = co_await std::move(reading);
      if (!line) break;
      if (!trimmed(*line).empty()) answers_.obey(*line);
    }
    answers_.inputEnded();
  }

  void stopTakingAnswers() override { lines_.close(); }

  Task<void> sendsEnded() override { return answers_.sendsEnded(); }

  void passEnded(const MailAccount& account, PassResult result) override {
    tell({{"event", "pass"}, {"mailbox", account.id}, {"listed", result == PassResult::done}});
  }

  bool lostOutput() const override { return output_.failed(); }

 private:
  void emit(const json& event) { output_.write(jsonText(event) + "\n"); }

  // An event that only informs may be lost without holding anything up.
  void tell(const json& event) {
    try {
      emit(event);
    } catch (const std::runtime_error&) {
      // lostOutput() tells it at the end.
    }
  }

  JournalLog log_{STDERR_FILENO};
  WholeOutput output_;
  InputLines lines_;
  JsonAnswers answers_;
};

}  // namespace

std::unique_ptr<MonitorFace> jsonMonitorFace(FaceExecutors executors) {
  return std::make_unique<JsonFace>(std::move(executors));
}

}  // namespace halcyra

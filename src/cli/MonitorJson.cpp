#include "classification/MarketingPrefilter.h"
#include "cli/MonitorFace.h"
#include "config/ProcessedMessageStore.h"
#include "text/Json.h"

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
    const ParsedMail& mail = suggestion.mail;
    emit({{"event", "suggestion"},
          {"key", messageKey(mail.accountId, mail.messageID)},
          {"mailbox", mail.accountId},
          {"mailboxLabel", suggestion.mailboxLabel},
          {"messageID", mail.messageID},
          {"subject", mail.subject},
          {"from", mail.from},
          {"draft", suggestion.draft},
          {"ruleOptions", ruleOptions(suggestion.ruleOverrides)}});
  }

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

  WholeOutput output_;
};

}  // namespace

std::unique_ptr<MonitorFace> jsonMonitorFace() {
  return std::make_unique<JsonFace>();
}

}  // namespace halcyra

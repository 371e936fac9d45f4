#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "classification/LLMClient.h"
#include "classification/MeetingContext.h"
#include "config/AppConfig.h"
#include "config/ProcessedMessageStore.h"
#include "mail/ParsedMail.h"
#include "platform/Clock.h"
#include "platform/HttpClient.h"
#include "platform/Log.h"
#include "platform/Task.h"
#include "triage/IncomingMail.h"
#include "triage/MessagesUnderWay.h"
#include "triage/ProviderMail.h"
#include "triage/RuleActions.h"
#include "triage/SuggestionPresenter.h"
#include "triage/TriageDecision.h"

namespace halcyra {

/// What the pipeline works with. All of it outlives the processor.
struct TriageServices {
  ProcessedMessageStore& processed;
  std::shared_ptr<MessagesUnderWay> underWay;
  SuggestionPresenter& presenter;
  HttpClient& http;
  Clock& clock;
  Log& log;
  TriageObserver& observer;
  RuleActions& actions;
  /// None while all mailboxes are IMAP.
  ProviderMail* providers = nullptr;
  /// None where the model is told of no calendar.
  MeetingContext* meetings = nullptr;
};

/// Decides what happens to one mail: handled before, quiet hours, bulk mail, which rule, which
/// action. Runs on the main executor.
class EmailProcessor {
 public:
  explicit EmailProcessor(TriageServices services) : services_(services) {}

  /// True when the message is finished with, false when a later poll shall meet it again. Never
  /// throws; a failure is false and a log line.
  Task<bool> processMail(SharedIncomingMail incoming, MailSecrets secrets);

 private:
  struct Case;

  Task<bool> decide(Case& c);
  Task<bool> skipAsBulk(Case& c, PrefilterSkipReason reason);
  Task<std::optional<ClassificationResult>> askModel(Case& c);
  Task<std::string> calendarContext(Case& c);
  Task<bool> handleLowConfidence(Case& c, const ClassificationResult& answer);
  const MailRule* chooseRule(const Case& c, std::string_view answeredId);
  Task<bool> dispatch(Case& c, const MailRule& rule, const ClassificationResult& answer);
  Task<bool> forward(Case& c, const MailRule& rule, ForwardNotice notice);
  Task<bool> runAction(Case& c, const MailRule& rule);

  void present(const Case& c, const ClassificationResult& answer, std::optional<MailRule> rule);
  Task<bool> finish(Case& c, const MailRule& rule);
  Task<void> markProcessedAtProvider(Case& c, std::optional<std::string> tag);
  void prepareRecord(Case& c);
  void record(Case& c);
  bool report(Case& c, TriageOutcome outcome, bool handled);
  void logAbout(const Case& c, const std::string& text);

  TriageServices services_;
  bool recordWasKept_ = true;  // as the log knows it
};

}  // namespace halcyra

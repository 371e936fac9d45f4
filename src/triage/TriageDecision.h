#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "config/AppConfig.h"

namespace halcyra {

/// How the pipeline ended for one message.
enum class TriageOutcome {
  prefilterSkipped,
  noRules,
  modelFailed,
  lowConfidenceSkipped,
  lowConfidenceSuggested,
  noCatchAll,
  actionDone,
  actionFailed,
};

/// One decision of the pipeline, for faces that show it. Holds no mail text beyond the subject.
struct TriageDecision {
  std::string accountId;
  std::string mailboxLabel;
  std::string messageID;
  std::string subject;
  std::string from;
  TriageOutcome outcome = TriageOutcome::actionFailed;
  std::optional<PrefilterSkipReason> skipReason;
  /// The rule that was carried out, when it came to that.
  std::optional<MailRule> rule;
  /// The model's, when it answered.
  std::optional<double> confidence;
  /// In the processed store and on the disk, so never taken again.
  bool recorded = false;
};

/// The outcome's stable name in machine-readable output.
std::string_view outcomeName(TriageOutcome outcome);

/// Is told each decision, on the main executor.
class TriageObserver {
 public:
  virtual ~TriageObserver() = default;
  virtual void decided(const TriageDecision& decision) = 0;
};

}  // namespace halcyra

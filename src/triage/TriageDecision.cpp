#include "triage/TriageDecision.h"

namespace halcyra {

std::string_view outcomeName(TriageOutcome outcome) {
  switch (outcome) {
    case TriageOutcome::prefilterSkipped:
      return "prefilterSkipped";
    case TriageOutcome::noRules:
      return "noRules";
    case TriageOutcome::modelFailed:
      return "modelFailed";
    case TriageOutcome::lowConfidenceSkipped:
      return "lowConfidenceSkipped";
    case TriageOutcome::lowConfidenceSuggested:
      return "lowConfidenceSuggested";
    case TriageOutcome::noCatchAll:
      return "noCatchAll";
    case TriageOutcome::actionDone:
      return "actionDone";
    case TriageOutcome::actionFailed:
      return "actionFailed";
  }
  return "actionFailed";
}

}  // namespace halcyra

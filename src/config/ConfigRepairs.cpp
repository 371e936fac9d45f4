#include "config/ConfigRepairs.h"

#include <algorithm>

#include "text/Case.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

// A sentence of an earlier default prompt that is no longer wanted.
constexpr std::string_view oldPromptSentence = "Never invent, shorten, or paraphrase ids.";
constexpr std::string_view retiredMicrosoftClientId = "3d1e92b4-5f07-4c6a-9ae2-71b0c8d6f345";

void repairRules(AppConfig& config) {
  // Of an empty list each call makes another rule, so this differs from the stored list too.
  config.rules = config.effectiveRules();
}

void repairPrompt(AppConfig& config) {
  if (config.classificationSystemPrompt.find(oldPromptSentence) != std::string::npos) {
    config.classificationSystemPrompt = defaultClassificationSystemPrompt;
  }
}

void repairModel(AppConfig& config) {
  if (trimmed(config.llmModel) == "gpt-4o-mini") config.llmModel = "gpt-5-nano";
}

void repairClientId(AppConfig& config) {
  if (lowercased(trimmed(config.microsoftOAuthClientId)) == retiredMicrosoftClientId) {
    config.microsoftOAuthClientId.clear();
  }
}

void repairWeekdays(AppConfig& config) {
  if (config.meetingWorkingWeekdays.empty()) {
    config.meetingWorkingWeekdays = AppConfig().meetingWorkingWeekdays;
  }
}

}  // namespace

const std::array<ConfigRepair, 5> configRepairs = {repairRules, repairPrompt, repairModel,
                                                   repairClientId, repairWeekdays};

std::optional<CRMConnectionProfile> legacyDynamicsConnection(const AppConfig& config) {
  const std::string_view url = trimmed(config.dataverseEnvironmentURL);
  const auto graph = std::find_if(config.mailAccounts.begin(), config.mailAccounts.end(),
                                  [](const MailAccount& account) {
                                    return std::holds_alternative<MicrosoftGraph>(account.kind);
                                  });
  if (url.empty() || graph == config.mailAccounts.end()) return std::nullopt;
  return CRMConnectionProfile{.id = "legacy-dynamics-settings",
                              .displayName = "Dynamics 365 (from Custom actions URL)",
                              .kind = CRMConnectionKind::dynamics365,
                              .microsoftMailAccountId = graph->id,
                              .dataverseEnvironmentURL = std::string(url),
                              .salesforceLoginHost = config.salesforceLoginHost};
}

CRMConnectionProfile legacySalesforceConnection(const AppConfig& config) {
  return {.id = legacySalesforceConnectionId,
          .displayName = "Salesforce (existing sign-in)",
          .kind = CRMConnectionKind::salesforce,
          .microsoftMailAccountId = "",
          .dataverseEnvironmentURL = "",
          .salesforceLoginHost = config.salesforceLoginHost};
}

}  // namespace halcyra

#include "classification/LeadExtraction.h"

#include <algorithm>
#include <utility>

#include "classification/LLMClient.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr double highestTemperature = 0.4;

struct Question {
  LLMSettings settings;
  std::string text;
  std::int64_t maxChars = 0;
};

Task<DynamicsLeadFields> ask(HttpClient& http, Question question, DynamicsLeadFields fromLine) {
  if (trimmed(question.settings.apiKey).empty()) co_return fromLine;
  LLMClient model(http, std::move(question.settings));
  Task<DynamicsLeadFields> asking =
      model.extractLeadFields(std::move(question.text), question.maxChars);
  const DynamicsLeadFields answer = co_await std::move(asking);
  co_return mergedLeadFields(answer, fromLine);
}

}  // namespace

Task<DynamicsLeadFields> extractLeadFields(HttpClient& http, const AppConfig& config,
                                           const ParsedMail& mail, std::string apiKey) {
  Question question{
      .settings = {.baseURL = config.llmBaseURL,
                   .model = config.llmModel,
                   .temperature = std::min(config.llmTemperature, highestTemperature),
                   .apiKey = std::move(apiKey)},
      .text = "Subject: " + mail.subject + "\n\nFrom: " + mail.from + "\n\n" + mail.bodyText,
      .maxChars = config.llmMaxBodyChars};
  return ask(http, std::move(question), fromLineLeadFields(mail));
}

}  // namespace halcyra

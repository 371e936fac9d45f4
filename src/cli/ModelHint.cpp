#include "cli/ModelHint.h"

#include "classification/LLMError.h"
#include "cli/Messages.h"
#include "platform/HttpClient.h"

namespace halcyra {

// An endpoint that cannot be reached or refuses the key is nearly always a setting to mend.
std::string withModelHint(const std::exception& error, const AppConfig& config) {
  const std::string text = error.what();
  if (text.starts_with("LLM HTTP 401:")) {
    return "the model server refused the key; set one with \"halcyra-cli secret set "
           "llm.apiKey\": " +
           text;
  }
  if (dynamic_cast<const HttpError*>(&error) != nullptr || text == LLMError::invalidURL().what()) {
    return std::string(withoutStop(text)) + "; llmBaseURL is \"" + config.llmBaseURL +
           "\", change it with \"halcyra-cli config set llmBaseURL URL\"";
  }
  return text;
}

}  // namespace halcyra

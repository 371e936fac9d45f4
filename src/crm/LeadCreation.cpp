#include "crm/LeadCreation.h"

#include "signin/ProviderCalls.h"
#include "text/Json.h"

namespace halcyra {

Task<HttpResponse> sendLead(HttpClient& http, HttpRequest request, std::string domain) {
  request.statusSuffices = true;
  return performFor(http, std::move(request), std::move(domain));
}

std::string createdId(const std::string& body, std::string_view key) {
  try {
    const nlohmann::json answer = parseJson(body);
    const auto id = answer.find(key);
    if (answer.is_object() && id != answer.end() && id->is_string()) return id->get<std::string>();
  } catch (const JsonError&) {
    // No body, or none that is JSON.
  }
  return createdWithoutId;
}

std::string refusalOr(std::string words, int status) {
  return words.empty() ? "HTTP " + std::to_string(status) : std::move(words);
}

}  // namespace halcyra

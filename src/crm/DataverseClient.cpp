#include "crm/DataverseClient.h"

#include <algorithm>
#include <utility>

#include "crm/LeadCreation.h"
#include "crm/LeadPayload.h"
#include "mail/ApiRequest.h"
#include "platform/ProviderError.h"
#include "signin/DataverseEnvironment.h"
#include "text/Case.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr const char* dataverseDomain = "Dataverse";
constexpr int invalidEnvironment = 2;

[[noreturn]] void failInvalidEnvironment() {
  throw ProviderError(dataverseDomain, invalidEnvironment, "Invalid environment URL");
}

bool isWebURL(std::string_view url) {
  const std::string lower = asciiLowercased(url.substr(0, 8));
  const bool isWeb = lower.starts_with("https://") || lower.starts_with("http://");
  const bool isPlain = std::none_of(url.begin(), url.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte == 0x7F;
  });
  return isWeb && isPlain && normalizedDataverseEnvironment(url);
}

// The address of the leads below the environment; a query stays behind the path.
std::string leadsURL(std::string_view environmentURL) {
  const std::string_view url = trimmedOf(trimmed(environmentURL), "/");
  if (!isWebURL(url)) failInvalidEnvironment();
  const std::size_t pathEnd = std::min(url.find_first_of("?#"), url.size());
  std::string base(url.substr(0, pathEnd));
  while (base.ends_with('/')) base.pop_back();
  return base + "/api/data/v9.2/leads" + std::string(url.substr(pathEnd));
}

}  // namespace

Task<std::string> DataverseClient::createDynamicsLead(std::string accessToken,
                                                      std::string environmentURL,
                                                      const DynamicsLeadFields& fields,
                                                      const ParsedMail& mail) {
  return create(std::move(accessToken), std::move(environmentURL),
                leadText(dynamicsLeadPayload(fields, mail)));
}

Task<std::string> DataverseClient::create(std::string accessToken, std::string environmentURL,
                                          std::string body) {
  std::string url = leadsURL(environmentURL);
  if (!standIn_.empty()) url = leadsURL(standIn_);
  HttpRequest request = apiRequest("POST", std::move(url), accessToken, std::move(body));
  request.headers.insert(request.headers.end(), {{"Accept", "application/json"},
                                                 {"OData-MaxVersion", "4.0"},
                                                 {"OData-Version", "4.0"},
                                                 {"Prefer", "return=representation"}});
  Task<HttpResponse> exchange = sendLead(http_, std::move(request), dataverseDomain);
  const HttpResponse response = co_await std::move(exchange);
  if (!isSuccess(response)) {
    throw ProviderError(dataverseDomain, response.status,
                        refusalOr(shownBody(response, accessToken), response.status));
  }
  co_return createdId(response.body, "leadid");
}

}  // namespace halcyra

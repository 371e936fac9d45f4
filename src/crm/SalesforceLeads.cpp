#include "crm/SalesforceLeads.h"

#include <utility>

#include "crm/LeadCreation.h"
#include "crm/LeadPayload.h"
#include "crm/SalesforceInstance.h"
#include "mail/ApiRequest.h"
#include "platform/ProviderError.h"
#include "text/Json.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

using nlohmann::json;

constexpr const char* leadsDomain = "Salesforce";

std::string trimmedText(const json& error, const char* key) {
  const auto found = error.find(key);
  if (found == error.end() || !found->is_string()) return "";
  return std::string(trimmed(found->get_ref<const std::string&>()));
}

// The words of one error object, empty when it has none.
std::string wordsOf(const json& error) {
  if (!error.is_object()) return "";
  const std::string message = trimmedText(error, "message");
  const std::string code = trimmedText(error, "errorCode");
  if (message.empty() || code.empty()) return message + code;
  return message + " (" + code + ")";
}

// Salesforce answers with a list of errors, of which the first says most, or with one alone.
std::string refusalText(const std::string& body) {
  try {
    const json answer = parseJson(body);
    const bool isList = answer.is_array() && !answer.empty();
    const std::string words = wordsOf(isList ? answer.front() : answer);
    if (!words.empty()) return words;
  } catch (const JsonError&) {
    // A page of something in between.
  }
  return body;
}

}  // namespace

Task<std::string> SalesforceLeads::createSalesforceLead(SalesforceSession session,
                                                        const DynamicsLeadFields& fields,
                                                        const ParsedMail& mail) {
  return create(std::move(session), leadText(salesforceLeadPayload(fields, mail)));
}

Task<std::string> SalesforceLeads::create(SalesforceSession session, std::string body) {
  const std::string base = usableSalesforceInstance(session.instanceURL, leadsDomain);
  HttpRequest request = apiRequest("POST", base + "/services/data/v59.0/sobjects/Lead/",
                                   session.accessToken, std::move(body));
  Task<HttpResponse> exchange = sendLead(http_, std::move(request), leadsDomain);
  const HttpResponse response = co_await std::move(exchange);
  if (!isSuccess(response)) {
    // Masked again after it is read: JSON has more spellings than the mask knows.
    const std::string words =
        withoutToken(refusalText(shownBody(response, session.accessToken)), session.accessToken);
    throw ProviderError(leadsDomain, response.status, refusalOr(words, response.status));
  }
  co_return createdId(response.body, "id");
}

}  // namespace halcyra

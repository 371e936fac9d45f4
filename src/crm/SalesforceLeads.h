#pragma once

#include <string>

#include "crm/DynamicsLeadFields.h"
#include "crm/SalesforceSessions.h"
#include "mail/ParsedMail.h"
#include "platform/HttpClient.h"
#include "platform/Task.h"

namespace halcyra {

/// Creates leads through the REST API of Salesforce.
class SalesforceLeads {
 public:
  /// `http` must outlive the object, and the object its operations.
  explicit SalesforceLeads(HttpClient& http) : http_(http) {}

  /// The id of the new lead, or "(created)" when the server does not tell it. `mail` need only live
  /// during the call itself. Throws ProviderError of the domain "Salesforce" with the status or
  /// ProviderError::notHTTP, also for an instance that no token may be sent to; throws HttpError.
  Task<std::string> createSalesforceLead(SalesforceSession session,
                                         const DynamicsLeadFields& fields, const ParsedMail& mail);

 private:
  Task<std::string> create(SalesforceSession session, std::string body);

  HttpClient& http_;
};

}  // namespace halcyra

#pragma once

#include <string>

#include "crm/DynamicsLeadFields.h"
#include "mail/ParsedMail.h"
#include "platform/Endpoints.h"
#include "platform/HttpClient.h"
#include "platform/Task.h"

namespace halcyra {

/// Creates records of Dynamics 365 through the Dataverse Web API.
class DataverseClient {
 public:
  /// `http` must outlive the client, and the client its operations.
  DataverseClient(HttpClient& http, const Endpoints& endpoints)
      : http_(http), standIn_(endpoints.dataverse) {}

  /// The id of the new lead, or "(created)" when the server does not tell it. `environmentURL` is
  /// an http or https address, around which white space and slashes do not matter. `mail` need only
  /// live during the call itself. Throws ProviderError of the domain "Dataverse" with the status,
  /// code 2 for a bad address, or ProviderError::notHTTP; throws HttpError.
  Task<std::string> createDynamicsLead(std::string accessToken, std::string environmentURL,
                                       const DynamicsLeadFields& fields, const ParsedMail& mail);

 private:
  Task<std::string> create(std::string accessToken, std::string environmentURL, std::string body);

  HttpClient& http_;
  std::string standIn_;
};

}  // namespace halcyra

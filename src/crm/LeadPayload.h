#pragma once

#include <string>

#include "crm/DynamicsLeadFields.h"
#include "mail/ParsedMail.h"
#include "text/Json.h"

namespace halcyra {

/// The body of a request that creates a lead, its keys in the order of the CRM's form.
using LeadPayload = nlohmann::ordered_json;

/// The topic of the lead, never empty: of the fields, else of the mail.
std::string leadTitle(const DynamicsLeadFields& fields, const ParsedMail& mail);

/// For Dataverse.
LeadPayload dynamicsLeadPayload(const DynamicsLeadFields& fields, const ParsedMail& mail);

/// For Salesforce, which takes no lead without a last name and a company.
LeadPayload salesforceLeadPayload(const DynamicsLeadFields& fields, const ParsedMail& mail);

/// The payload as it is sent.
std::string leadText(const LeadPayload& payload);

}  // namespace halcyra

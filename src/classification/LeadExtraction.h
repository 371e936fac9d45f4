#pragma once

#include <string>

#include "config/AppConfig.h"
#include "crm/DynamicsLeadFields.h"
#include "mail/ParsedMail.h"
#include "platform/HttpClient.h"
#include "platform/Task.h"

namespace halcyra {

/// What the model reads out of the mail, laid over what the From line tells; the latter alone
/// without a key. `config` and `mail` need only live during the call itself, `http` outlives it.
/// Throws what the model call throws.
Task<DynamicsLeadFields> extractLeadFields(HttpClient& http, const AppConfig& config,
                                           const ParsedMail& mail, std::string apiKey);

}  // namespace halcyra

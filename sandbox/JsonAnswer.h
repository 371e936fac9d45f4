#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "sandbox/LoopbackHttpServer.h"
#include "text/Json.h"
#include "text/PercentEncoding.h"

namespace halcyra::sandbox {

HttpResponse jsonAnswer(int status, const nlohmann::json& body);

/// The error object of Google's APIs.
HttpResponse googleError(int status, std::string_view name, std::string_view reason,
                         std::string_view message);

/// The error object of Microsoft Graph.
HttpResponse graphError(int status, std::string_view code, std::string_view message);

/// The error object of a token endpoint (RFC 6749, section 5.2).
HttpResponse tokenError(int status, std::string_view error, std::string_view description);

/// The body as JSON; nothing when it is none or is not declared as such.
std::optional<nlohmann::json> jsonBody(const ServedRequest& request);

/// The fields of a form; nothing when it is not declared as such.
std::optional<std::vector<QueryItem>> formBody(const ServedRequest& request);

/// The first item of this name, empty when there is none.
std::string itemOf(const std::vector<QueryItem>& items, std::string_view name);

}  // namespace halcyra::sandbox

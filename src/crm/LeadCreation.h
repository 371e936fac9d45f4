#pragma once

#include <string>
#include <string_view>

#include "platform/HttpClient.h"
#include "platform/Task.h"

namespace halcyra {

/// What both CRMs answer when they do not say which record was created.
inline constexpr const char* createdWithoutId = "(created)";

/// One exchange, never repeated: a lead that was created and not confirmed would be created twice.
/// For the same reason the status counts although its body breaks off.
/// Throws ProviderError of the domain for an answer that was not HTTP, else HttpError.
Task<HttpResponse> sendLead(HttpClient& http, HttpRequest request, std::string domain);

/// The text under `key` in the answer to a creation that succeeded. The lead exists, so whatever
/// else the answer is, it gives createdWithoutId.
std::string createdId(const std::string& body, std::string_view key);

/// What a refusal says: `words`, else the status.
std::string refusalOr(std::string words, int status);

}  // namespace halcyra

#pragma once

#include <string>

#include "platform/HttpClient.h"

namespace halcyra {

/// What the requests to web mail services have in common.

/// Bytes of an answer that holds a whole message; all others have the usual limit.
inline constexpr std::size_t messageAnswerLimit = 64u << 20;

/// A request with a bearer token and a time-out of 60 seconds. A body, unless empty, is sent as
/// JSON.
HttpRequest apiRequest(std::string method, std::string url, const std::string& accessToken,
                       std::string body);

bool isSuccess(const HttpResponse& response);

/// The answer's body as an error text may show it: without the access token, and empty when it is
/// not UTF-8.
std::string shownBody(const HttpResponse& response, const std::string& accessToken);

/// The text with the token masked.
std::string withoutToken(std::string text, const std::string& accessToken);

}  // namespace halcyra

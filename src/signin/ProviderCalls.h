#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/HttpClient.h"
#include "platform/Task.h"

namespace halcyra {

/// One exchange, never repeated. Throws ProviderError of the domain, with ProviderError::notHTTP,
/// for an answer that was not HTTP, else HttpError as the transport gave it.
Task<HttpResponse> performFor(HttpClient& http, HttpRequest request, std::string domain);

/// A call to a provider's token endpoint.
struct TokenCall {
  /// Of the errors.
  std::string domain;
  std::string url;
  std::vector<std::pair<std::string, std::string>> form;
  /// The description of an answer with a status outside 200 to 299. `body` is empty when it was not
  /// UTF-8.
  std::function<std::string(int status, const std::string& body)> refusal;
};

/// The body of a successful answer. Throws ProviderError with the status as its code, or with
/// ProviderError::notHTTP; throws HttpError as the transport gave it. Codes, tokens and secrets
/// that were sent and come back are masked in the descriptions.
Task<std::string> postTokenCall(HttpClient& http, TokenCall call);

/// The body of a GET with a bearer token, or nothing when that fails in any way.
Task<std::optional<std::string>> tryGetWithBearer(HttpClient& http, std::string url,
                                                  std::string accessToken);

}  // namespace halcyra

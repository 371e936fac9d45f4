#include "signin/ProviderCalls.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/ProviderError.h"
#include "text/PercentEncoding.h"
#include "text/Utf8.h"
#include "text/WithoutSecrets.h"

namespace halcyra {
namespace {

using Form = std::vector<std::pair<std::string, std::string>>;

constexpr std::array<std::string_view, 4> secretNames = {"code", "code_verifier", "refresh_token",
                                                         "client_secret"};

bool isSuccess(const HttpResponse& response) {
  return response.status >= 200 && response.status <= 299;
}

std::vector<std::string> secretsOf(const Form& form) {
  std::vector<std::string> secrets;
  for (const auto& [name, value] : form) {
    if (std::ranges::find(secretNames, name) != secretNames.end()) secrets.push_back(value);
  }
  return secrets;
}

// Masked before and after it is read, since reading undoes escapes.
std::string refusalText(const TokenCall& call, const HttpResponse& response) {
  const std::vector<std::string> secrets = secretsOf(call.form);
  const std::string body =
      isValidUtf8(response.body) ? withoutSecrets(response.body, secrets) : std::string();
  return withoutSecrets(call.refusal(response.status, body), secrets);
}

}  // namespace

Task<HttpResponse> performFor(HttpClient& http, HttpRequest request, std::string domain) {
  try {
    Task<HttpResponse> exchange = http.perform(std::move(request));
    co_return co_await std::move(exchange);
  } catch (const HttpError& error) {
    if (error.kind() != HttpError::Kind::notHTTP) throw;
    throw ProviderError(domain, ProviderError::notHTTP, "Not an HTTP response");
  }
}

Task<std::string> postTokenCall(HttpClient& http, TokenCall call) {
  HttpRequest request;
  request.method = "POST";
  request.url = call.url;
  request.headers = {{"Content-Type", "application/x-www-form-urlencoded"}};
  request.body = formEncoded(call.form);
  Task<HttpResponse> exchange = performFor(http, std::move(request), call.domain);
  HttpResponse response = co_await std::move(exchange);
  if (!isSuccess(response)) {
    throw ProviderError(call.domain, response.status, refusalText(call, response));
  }
  co_return std::move(response.body);
}

Task<std::optional<std::string>> tryGetWithBearer(HttpClient& http, std::string url,
                                                  std::string accessToken) {
  HttpRequest request;
  request.url = std::move(url);
  request.headers = {{"Authorization", "Bearer " + accessToken}};
  try {
    Task<HttpResponse> exchange = http.perform(std::move(request));
    HttpResponse response = co_await std::move(exchange);
    if (isSuccess(response)) co_return std::move(response.body);
  } catch (const HttpError&) {
  }
  co_return std::nullopt;
}

}  // namespace halcyra

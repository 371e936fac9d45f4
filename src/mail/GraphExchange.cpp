#include "mail/GraphExchange.h"

#include "mail/ApiRequest.h"
#include "text/PercentEncoding.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;

ProviderError badAddress(GraphExchange::Address address) {
  constexpr int code = 2;
  switch (address) {
    case GraphExchange::Address::list:
      return graphError(code, "Invalid list URL");
    case GraphExchange::Address::reply:
      return graphError(code, "Invalid reply URL");
    case GraphExchange::Address::message:
      break;
  }
  return graphError(code, "Invalid message URL");
}

// Encoded but for the commas and colons that OData lists and times are written with.
std::string valueText(const std::string& value) {
  std::string text;
  for (const char c : value)
    text += c == ',' || c == ':' ? std::string(1, c) : percentEncoded({&c, 1});
  return text;
}

}  // namespace

std::string graphMessageTarget(const std::string& messageId, const std::string& behind) {
  return "/me/messages/" + percentEncoded(messageId) + behind;
}

std::string graphQuery(const std::vector<std::pair<std::string, std::string>>& items) {
  std::string query;
  for (const auto& [name, value] : items) {
    query += (query.empty() ? "?" : "&") + name + "=" + valueText(value);
  }
  return query;
}

ProviderError graphError(int code, const std::string& description) {
  return {"GraphMail", code, description};
}

GraphExchange::GraphExchange(HttpClient& http, Clock& clock, const Endpoints& endpoints)
    : http_(http), clock_(clock), baseURL_(endpoints.graph + "/v1.0") {}

Task<HttpResponse> GraphExchange::get(std::string accessToken, Read read) {
  HttpRequest request = apiRequest("GET", baseURL_ + read.target, accessToken, {});
  if (!read.accept.empty()) request.headers.push_back({"Accept", read.accept});
  request.answerLimit = read.answerLimit;
  Task<HttpResponse> exchange = sendWithRetry(std::move(request), read.address, 2);
  co_return co_await std::move(exchange);
}

Task<void> GraphExchange::change(std::string accessToken, Change change) {
  HttpRequest request = apiRequest(std::move(change.method), baseURL_ + change.target, accessToken,
                                   std::move(change.body));
  request.statusSuffices = true;
  request.lossIsTold = true;
  Task<HttpResponse> exchange = sendWithRetry(std::move(request), change.address, 0);
  const HttpResponse response = co_await std::move(exchange);
  if (isSuccess(response)) co_return;
  const std::string body = shownBody(response, accessToken);
  const std::string_view words = trimmed(body);
  throw graphError(response.status, words.empty() ? "HTTP " + std::to_string(response.status) +
                                                        " from Microsoft Graph."
                                                  : std::string(words));
}

Task<HttpResponse> GraphExchange::sendWithRetry(HttpRequest request, Address address,
                                                int maxRetries) {
  for (int attempt = 0;; ++attempt) {
    try {
      Task<HttpResponse> exchange = http_.perform(request);
      co_return co_await std::move(exchange);
    } catch (const HttpError& error) {
      if (error.kind() == HttpError::Kind::invalidURL) throw badAddress(address);
      if (error.kind() == HttpError::Kind::notHTTP) {
        throw graphError(ProviderError::notHTTP, "Not an HTTP response");
      }
      if (error.kind() != HttpError::Kind::transport || attempt == maxRetries) throw;
    }
    Task<void> pause = clock_.sleep(300ms * (attempt + 1), {});
    co_await std::move(pause);
  }
}

}  // namespace halcyra

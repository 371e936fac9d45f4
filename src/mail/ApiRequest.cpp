#include "mail/ApiRequest.h"

#include <span>
#include <utility>

#include "text/Utf8.h"
#include "text/WithoutSecrets.h"

namespace halcyra {

HttpRequest apiRequest(std::string method, std::string url, const std::string& accessToken,
                       std::string body) {
  HttpRequest request;
  request.method = std::move(method);
  request.url = std::move(url);
  request.headers = {{"Authorization", "Bearer " + accessToken}};
  if (!body.empty()) request.headers.push_back({"Content-Type", "application/json"});
  request.body = std::move(body);
  request.timeout = std::chrono::seconds(60);
  return request;
}

bool isSuccess(const HttpResponse& response) {
  return response.status >= 200 && response.status <= 299;
}

std::string shownBody(const HttpResponse& response, const std::string& accessToken) {
  if (!isValidUtf8(response.body)) return {};
  return withoutToken(response.body, accessToken);
}

std::string withoutToken(std::string text, const std::string& accessToken) {
  return withoutSecrets(std::move(text), std::span(&accessToken, 1));
}

}  // namespace halcyra

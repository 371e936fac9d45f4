#pragma once

#include <deque>
#include <functional>
#include <stdexcept>
#include <utility>
#include <variant>
#include <vector>

#include "platform/HttpClient.h"

namespace halcyra {

/// Answers each request with the next prepared response or failure, and keeps what was asked.
class ScriptedHttp final : public HttpClient {
 public:
  ScriptedHttp& answer(int status, std::string body) {
    script_.push_back(HttpResponse{status, {}, std::move(body)});
    return *this;
  }
  ScriptedHttp& fail(HttpError error) {
    script_.push_back(std::move(error));
    return *this;
  }

  Task<HttpResponse> perform(HttpRequest request) override {
    requests.push_back(std::move(request));
    if (onRequest) onRequest();
    if (script_.empty()) throw std::logic_error("a request too many: " + requests.back().url);
    const auto next = std::move(script_.front());
    script_.pop_front();
    if (const auto* error = std::get_if<HttpError>(&next)) throw *error;
    co_return std::get<HttpResponse>(next);
  }

  std::vector<HttpRequest> requests;
  /// Happens while a request is under way.
  std::function<void()> onRequest;

 private:
  std::deque<std::variant<HttpResponse, HttpError>> script_;
};

}  // namespace halcyra

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/HttpClient.h"
#include "text/Json.h"

namespace halcyra {

/// A model endpoint that answers every request with one text.
class ModelDouble : public HttpClient {
 public:
  /// The content of the assistant's message.
  std::string reply;
  int status = 200;
  /// Thrown instead of an answer.
  std::optional<HttpError> failure;
  std::vector<HttpRequest> requests;

  Task<HttpResponse> perform(HttpRequest request) override {
    requests.push_back(std::move(request));
    if (failure) throw *failure;
    const nlohmann::json body = {{"choices", {{{"message", {{"content", reply}}}}}}};
    co_return HttpResponse{.status = status, .headers = {}, .body = body.dump()};
  }
};

}  // namespace halcyra

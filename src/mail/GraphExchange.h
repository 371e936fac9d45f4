#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/Clock.h"
#include "platform/Endpoints.h"
#include "platform/HttpClient.h"
#include "platform/ProviderError.h"

namespace halcyra {

/// "/me/messages/{id}" and what follows, with the id encoded whatever it holds.
std::string graphMessageTarget(const std::string& messageId, const std::string& behind = {});

/// The query of a target, with its "?".
std::string graphQuery(const std::vector<std::pair<std::string, std::string>>& items);

ProviderError graphError(int code, const std::string& description);

/// Requests to Microsoft Graph v1.0, below that version's path.
class GraphExchange {
 public:
  /// `http` and `clock` outlive the exchange.
  GraphExchange(HttpClient& http, Clock& clock, const Endpoints& endpoints);

  /// What an address that cannot be formed is called.
  enum class Address { list, message, reply };

  struct Read {
    std::string target;
    Address address = Address::message;
    /// Empty for none.
    std::string accept = {};
    std::size_t answerLimit = HttpRequest().answerLimit;
  };

  struct Change {
    /// PATCH or POST.
    std::string method;
    std::string target;
    std::string body;
    Address address = Address::message;
  };

  /// A GET, whatever the status of its answer. A transfer that failed is tried twice more, after
  /// 0.3 and 0.6 seconds. Throws HttpError or, for no HTTP and a bad address, ProviderError.
  Task<HttpResponse> get(std::string accessToken, Read read);

  /// Sent once. Throws ProviderError for a status that is no success, and as get does.
  Task<void> change(std::string accessToken, Change change);

 private:
  Task<HttpResponse> sendWithRetry(HttpRequest request, Address address, int maxRetries);

  HttpClient& http_;
  Clock& clock_;
  const std::string baseURL_;
};

}  // namespace halcyra

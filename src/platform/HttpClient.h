#pragma once

#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/Task.h"

namespace halcyra {

struct HttpHeader {
  std::string name;
  std::string value;

  bool operator==(const HttpHeader&) const = default;
};

struct HttpRequest {
  std::string method = "GET";
  std::string url;
  std::vector<HttpHeader> headers;
  std::string body;
  /// The longest silence: it begins anew whenever bytes of the request leave or some of the answer
  /// arrive.
  std::chrono::milliseconds timeout = std::chrono::seconds(60);
  /// Of the whole transfer, so that an answer that drips for ever ends some day.
  std::chrono::milliseconds longest = std::chrono::minutes(10);
  /// Bytes of a decoded answer body; a longer one is an error.
  std::size_t answerLimit = 8u << 20;
  /// For what is done by the time its status comes: an answer that breaks off behind its headers
  /// counts.
  bool statusSuffices = false;
  /// A whole request without an answer that counts fails as `unanswered`, whatever came instead.
  bool lossIsTold = false;
};

struct HttpResponse {
  int status = 0;
  std::vector<HttpHeader> headers;
  std::string body;
};

/// A transfer that brought no HTTP response. `what()` is fit to be shown and holds no header and
/// no body of the request.
class HttpError : public std::runtime_error {
 public:
  enum class Kind {
    invalidURL,  // the URL cannot be used at all
    transport,   // unknown host, refused, lost, time-out: another try may succeed
    unanswered,  // the request went out, and nobody knows what became of it
    failed,      // TLS failure, a request that cannot be made, one that was given up
    notHTTP,     // something answered, but not in HTTP
    tooLarge,    // the answer is longer than the request's limit
  };

  HttpError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

class HttpClient {
 public:
  virtual ~HttpClient() = default;

  /// One exchange, whatever the status. Throws HttpError.
  virtual Task<HttpResponse> perform(HttpRequest request) = 0;
};

}  // namespace halcyra

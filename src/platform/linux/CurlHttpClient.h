#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "platform/HttpClient.h"

namespace halcyra {

class CurlEngine;

/// HTTP and HTTPS through libcurl, on one thread of its own that the first request starts and that
/// sleeps while nothing is under way. Connections and TLS sessions are kept for later requests,
/// HTTP/2 is used where it is offered, proxies come from the environment (never for this machine
/// itself), certificates are checked against the system's trust store.
///
/// A GET follows up to 5 redirects, but never one that carries an Authorization header; every other
/// redirect is an answer like any other. Any executor may perform requests, and it must outlive the
/// client. The destructor fails what is under way.
class CurlHttpClient final : public HttpClient {
 public:
  using Now = std::function<std::chrono::steady_clock::time_point()>;

  /// `now`, which any thread may call, is the clock by which the other side is found silent; it is
  /// looked at whenever something happens.
  explicit CurlHttpClient(Now now = std::chrono::steady_clock::now);
  ~CurlHttpClient() override;

  Task<HttpResponse> perform(HttpRequest request) override;

 private:
  std::unique_ptr<CurlEngine> engine_;
};

}  // namespace halcyra

#pragma once

#include <deque>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/LoopbackHttpServer.h"
#include "text/PercentEncoding.h"

namespace halcyra::sandbox {

/// The target of a request taken apart.
struct RequestTarget {
  /// Of the path, decoded one by one: an encoded slash does not separate.
  std::vector<std::string> segments;
  std::vector<QueryItem> query;
};

RequestTarget requestTarget(std::string_view target);

/// Does the path fit a pattern such as "/messages/*/modify", in which a star is one segment?
bool fits(std::string_view pattern, const std::vector<std::string>& segments);

/// What a stand-in does for one kind of request.
template <class StandIn>
struct Route {
  std::string_view method;
  std::string_view path;
  /// As the ledger names it.
  std::string_view kind;
  bool needsToken;
  HttpResponse (StandIn::*answer)(const ServedRequest&, const RequestTarget&);
};

/// The first that fits, or null.
template <class StandIn>
const Route<StandIn>* routeOf(std::span<const Route<StandIn>> routes, std::string_view method,
                              const std::vector<std::string>& segments) {
  for (const Route<StandIn>& route : routes) {
    if (route.method == method && fits(route.path, segments)) return &route;
  }
  return nullptr;
}

/// Counts the requests of a stand-in by their kind, keeps the last of each, and holds answers that
/// someone wants given in place of its own. Not safe for several threads.
class RequestLedger {
 public:
  /// A further request of this kind; the answer laid in for it, if there is one.
  std::optional<HttpResponse> enter(std::string_view kind, const ServedRequest& request);

  void count(std::string_view kind) { ++counts_[std::string(kind)]; }
  void layIn(std::string_view kind, HttpResponse answer);
  const std::map<std::string, int>& counts() const { return counts_; }
  /// Empty before the first of its kind.
  std::string lastBody(std::string_view kind) const;

 private:
  std::map<std::string, int> counts_;
  std::map<std::string, std::string> lastBodies_;
  std::map<std::string, std::deque<HttpResponse>> laidIn_;
};

}  // namespace halcyra::sandbox

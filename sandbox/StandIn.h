#pragma once

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "sandbox/Routes.h"

namespace halcyra::sandbox {

/// What the stand-ins have in common: a lock over their state, and a ledger of their requests.
class StandIn {
 public:
  /// The next request of a kind gets this answer. The kinds are those of the stand-in's requests.
  void answerNext(std::string_view kind, HttpResponse answer) {
    const std::lock_guard guard(lock_);
    ledger_.layIn(kind, std::move(answer));
  }

  /// How many requests of each kind there were.
  std::map<std::string, int> requestCounts() const {
    const std::lock_guard guard(lock_);
    return ledger_.counts();
  }

  /// The body of the last request of a kind.
  std::string lastBody(std::string_view kind) const {
    const std::lock_guard guard(lock_);
    return ledger_.lastBody(kind);
  }

 protected:
  StandIn() = default;
  ~StandIn() = default;

  mutable std::mutex lock_;
  RequestLedger ledger_;
};

}  // namespace halcyra::sandbox

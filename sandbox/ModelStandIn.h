#pragma once

#include <string>

#include "sandbox/LoopbackHttpServer.h"

namespace halcyra::sandbox {

/// What the `model` field of its answers says.
inline constexpr std::string_view standInModelName = "halcyra-sandbox-stand-in (not a real model)";

/// Answers like a chat-completions service without any model: POST /v1/chat/completions picks a
/// rule by shared words, drafts a stock reply and reads lead fields, GET /v1/models names the
/// stand-in. What a real service refuses is refused with the same kind of error object. Safe to
/// call from any thread.
class ModelStandIn {
 public:
  /// With a key, requests need it as bearer token.
  explicit ModelStandIn(std::string requiredKey = {}) : requiredKey_(std::move(requiredKey)) {}

  HttpResponse operator()(const ServedRequest& request) const;

 private:
  std::string requiredKey_;
};

}  // namespace halcyra::sandbox

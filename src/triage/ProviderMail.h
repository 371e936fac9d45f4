#pragma once

#include <optional>
#include <string>

#include "platform/Task.h"
#include "triage/IncomingMail.h"
#include "triage/OutgoingText.h"

namespace halcyra {

/// What Gmail and Graph do through their own services. Each throws what the provider's client
/// throws; the mail outlives the call.
class ProviderMail {
 public:
  virtual ~ProviderMail() = default;

  /// Marks the message read, with a tag where one is given.
  virtual Task<void> markProcessed(const IncomingMail& incoming,
                                   std::optional<std::string> tag) = 0;

  /// Tags the message and leaves its read state alone.
  virtual Task<void> addTag(const IncomingMail& incoming, std::string tag) = 0;

  virtual Task<void> forward(const IncomingMail& incoming, std::string from, std::string to) = 0;

  virtual Task<void> reply(const IncomingMail& incoming, OutgoingReply reply) = 0;
};

}  // namespace halcyra

#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>

#include "config/ProcessedMessageStore.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "triage/IMAPPass.h"
#include "triage/ProviderMailbox.h"

namespace halcyra {

/// What a pass over a mailbox at Gmail or Graph works with. References outlive the pass.
struct RestPassContext {
  MailAccount account;
  AppConfig config;
  std::stop_token stop;
  ProviderClients clients;
  ProviderMail& marking;
  ProcessedMessageStore& processed;
  Log& log;
  /// Hands a mail to the pipeline, which also marks it.
  std::function<Task<bool>(ParsedMail)> process;
};

/// Messages that a pass takes at the most.
inline constexpr int mostRestMessages = 25;

/// A uid for a message that the provider names by a text; never 0.
std::uint32_t syntheticUid(std::string_view providerId);

/// Records and marks a message that the provider files as bulk and that is therefore never
/// downloaded. `keyPrefix` sets its record apart from those of downloaded mail.
Task<void> skipAtTransport(const RestPassContext& context, std::string keyPrefix,
                           std::string providerId, PrefilterSkipReason reason);

/// Lists today's unread inbox mail and hands each message to the pipeline. Failures become log
/// lines. Runs on the I/O executor, as does the next.
Task<PassResult> runGmailPass(RestPassContext context);

/// What a missing client id was said about, so that it is said once and not on every poll. Belongs
/// to the executor of the passes.
struct MissingClientIdNotices {
  bool logged = false;
  std::set<std::string> mailboxes;
};

/// What a Graph pass needs besides.
struct GraphPassContext {
  RestPassContext rest;
  /// Empty when this build and these settings have none.
  std::string clientId;
  Clock& clock;
  MissingClientIdNotices& notices;
  /// The state of the mailbox for the user, and whether it is an error.
  std::function<Task<void>(std::string text, bool isError)> tellStatus;
};

Task<PassResult> runGraphPass(GraphPassContext context);

}  // namespace halcyra

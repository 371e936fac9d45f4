#pragma once

#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "config/KeychainHelper.h"
#include "config/ProcessedMessageStore.h"
#include "platform/ByteStream.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "triage/EmailProcessor.h"
#include "triage/IMAPPass.h"
#include "triage/RestPass.h"

namespace halcyra {

/// The services of Google and Microsoft as the passes use them. All of it outlives the worker's
/// tasks.
struct ProviderSync {
  ProviderClients clients;
  ProviderMail& marking;
  ProcessedMessageStore& processed;
};

/// What the worker works with. All of it outlives the worker's tasks.
struct SyncServices {
  /// The executor of the worker, the configuration and the pipeline.
  Executor main;
  /// The executor of sockets; mailbox loops run there.
  Executor io;
  StreamConnector& connector;
  KeychainHelper& secrets;
  Clock& clock;
  Log& log;
  /// None where all mailboxes are IMAP; others are then passed over.
  ProviderSync* providers = nullptr;
};

/// Mailbox id, status text, is it an error. Called on the main executor.
using MailboxStatusSink = std::function<void(std::string, std::string, bool)>;

enum class IdleUse { asConfigured, never };

/// What one pass over one mailbox is made of.
struct PassOrder {
  SyncServices services;
  std::shared_ptr<EmailProcessor> processor;
  AppConfig config;
  SecretsSnapshot secrets;
  MailAccount account;
  MailboxStatusSink status;
  std::shared_ptr<MissingClientIdNotices> notices;
  IdleUse idle = IdleUse::asConfigured;
  std::stop_token stop;
};

/// One pass over one mailbox, by its transport. Runs on the I/O executor.
Task<PassResult> runPass(PassOrder order);

}  // namespace halcyra

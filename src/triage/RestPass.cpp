#include "triage/RestPass.h"

#include <exception>
#include <utility>

#include "classification/MarketingPrefilter.h"
#include "text/ControlCharacters.h"

namespace halcyra {

std::uint32_t syntheticUid(std::string_view providerId) {
  std::uint32_t hash = 5381;
  for (const char c : providerId) hash = hash * 33 + static_cast<unsigned char>(c);
  return hash == 0 ? 1 : hash;
}

Task<void> skipAtTransport(const RestPassContext& context, std::string keyPrefix,
                           std::string providerId, PrefilterSkipReason reason) {
  const std::string key = messageKey(context.account.id, keyPrefix + providerId);
  if (context.processed.contains(key)) co_return;
  context.processed.insert(key);
  IncomingMail incoming{{}, context.config, context.account};
  incoming.mail.accountId = context.account.id;
  incoming.mail.providerRESTId = providerId;
  std::string failure;
  try {
    Task<void> marking =
        context.marking.markProcessed(incoming, context.config.prefilterSkipTag(reason));
    co_await std::move(marking);
  } catch (const std::exception& error) {
    const bool graph = std::holds_alternative<MicrosoftGraph>(context.account.kind);
    failure = std::string(graph ? "Graph" : "Gmail") + " mark processed: " + error.what();
  }
  if (!failure.empty()) context.log.logLine(onOneLine(failure));
  context.log.logLine("Prefilter skip (" + std::string(skipReasonLabel(reason)) +
                      "): " + onOneLine(providerId));
}

}  // namespace halcyra

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "text/ControlCharacters.h"
#include "triage/RestPass.h"

namespace halcyra {
namespace {

class GmailPass {
 public:
  explicit GmailPass(RestPassContext context) : context_(std::move(context)) {}

  Task<PassResult> run();

 private:
  Task<std::vector<std::string>> list();
  Task<void> handle(std::string id);
  Task<std::optional<PrefilterSkipReason>> bulkReason(std::string id);

  RestPassContext context_;
  std::string token_;
};

Task<PassResult> GmailPass::run() {
  std::optional<std::vector<std::string>> ids;
  std::string failure;
  try {
    ids = co_await list();
  } catch (const std::exception& error) {
    failure = error.what();
  }
  if (!ids) {
    context_.log.logLine("Gmail sync (" + onOneLine(context_.account.displayLabel) +
                         "): " + onOneLine(failure));
    co_return PassResult::failed;
  }
  for (const std::string& id : *ids) {
    if (context_.stop.stop_requested()) break;
    failure.clear();
    try {
      Task<void> handling = handle(id);
      co_await std::move(handling);
    } catch (const std::exception& error) {
      failure = error.what();
    }
    if (!failure.empty()) {
      context_.log.logLine("Gmail fetch " + onOneLine(id) + ": " + onOneLine(failure));
    }
  }
  co_return PassResult::done;
}

Task<std::vector<std::string>> GmailPass::list() {
  Task<std::string> getting = context_.clients.tokens.validGoogleAccessToken(context_.account.id);
  token_ = co_await std::move(getting);
  Task<std::vector<std::string>> listing =
      context_.clients.gmail.listTodayUnreadInboxMessageIds(token_, mostRestMessages);
  co_return co_await std::move(listing);
}

Task<void> GmailPass::handle(std::string id) {
  Task<std::optional<PrefilterSkipReason>> looking = bulkReason(id);
  const std::optional<PrefilterSkipReason> reason = co_await std::move(looking);
  if (reason) {
    Task<void> skipping = skipAtTransport(context_, "gmail:", id, *reason);
    co_await std::move(skipping);
    co_return;
  }
  Task<std::string> fetching = context_.clients.gmail.fetchRawMessage(token_, id);
  std::string raw = co_await std::move(fetching);
  std::optional<ParsedMail> mail =
      ParsedMail::fromRawMessage(context_.account.id, id, syntheticUid(id), std::move(raw));
  if (!mail) co_return;
  Task<bool> processing = context_.process(std::move(*mail));
  co_await std::move(processing);
}

// The labels cost a request, so they are asked for only when they matter.
Task<std::optional<PrefilterSkipReason>> GmailPass::bulkReason(std::string id) {
  const AppConfig& config = context_.config;
  if (!config.prefilterMarketingEnabled ||
      (!config.prefilterGmailPromotionsLabel && !config.prefilterGmailSocialLabel)) {
    co_return std::nullopt;
  }
  Task<std::vector<std::string>> fetching =
      context_.clients.gmail.fetchMessageLabelIds(token_, std::move(id));
  const std::vector<std::string> labels = co_await std::move(fetching);
  const auto has = [&](const char* label) { return std::ranges::count(labels, label) > 0; };
  if (config.prefilterGmailPromotionsLabel && has("CATEGORY_PROMOTIONS")) {
    co_return PrefilterSkipReason::gmailPromotions;
  }
  if (config.prefilterGmailSocialLabel && has("CATEGORY_SOCIAL")) {
    co_return PrefilterSkipReason::gmailSocial;
  }
  co_return std::nullopt;
}

}  // namespace

Task<PassResult> runGmailPass(RestPassContext context) {
  GmailPass pass(std::move(context));
  co_return co_await pass.run();
}

}  // namespace halcyra

#include <cstdio>
#include <exception>
#include <optional>
#include <utility>
#include <vector>

#include "text/Case.h"
#include "text/ControlCharacters.h"
#include "text/Graphemes.h"
#include "text/Trim.h"
#include "triage/RestPass.h"

namespace halcyra {
namespace {

std::string timeOfDay(const LocalTime& time) {
  char text[16];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d", time.hour, time.minute, time.second);
  return text;
}

class GraphPass {
 public:
  explicit GraphPass(GraphPassContext context)
      : context_(std::move(context)),
        rest_(context_.rest),
        stamp_(timeOfDay(context_.clock.localTime(context_.clock.now()))) {}

  Task<PassResult> run();

 private:
  Task<PassResult> tellMissingClientId();
  Task<std::vector<InboxUnreadItem>> list();
  Task<void> handle(InboxUnreadItem item);
  Task<std::optional<ParsedMail>> fetch(std::string id);
  Task<std::string> fetchText(std::string id);
  bool isInOtherTab(const InboxUnreadItem& item) const;
  Task<void> tell(std::string text, bool isError);
  void log(const std::string& text) { rest_.log.logLine(text); }
  std::string logName() const {
    return "Graph sync (" + onOneLine(rest_.account.displayLabel) + "): ";
  }

  GraphPassContext context_;
  RestPassContext& rest_;
  const std::string stamp_;
  std::string token_;
};

Task<PassResult> GraphPass::run() {
  if (context_.clientId.empty()) co_return co_await tellMissingClientId();
  std::optional<std::vector<InboxUnreadItem>> items;
  std::string failure;
  try {
    items = co_await list();
  } catch (const std::exception& error) {
    failure = onOneLine(error.what());
  }
  if (!items) {
    log(logName() + failure);
    Task<void> telling = tell(failure, true);
    co_await std::move(telling);
    co_return PassResult::failed;
  }
  Task<void> telling = tell("Inbox: " + std::to_string(items->size()) +
                                " unread today listed (Graph). Triaged mail uses the same list.",
                            false);
  co_await std::move(telling);
  for (InboxUnreadItem& item : *items) {
    if (rest_.stop.stop_requested()) break;
    Task<void> handling = handle(std::move(item));
    co_await std::move(handling);
  }
  co_return PassResult::done;
}

Task<PassResult> GraphPass::tellMissingClientId() {
  if (!std::exchange(context_.notices.logged, true)) {
    log(logName() +
        "HALCYRA_MICROSOFT_OAUTH_CLIENT_ID is unset — Outlook sync is disabled until you set it in "
        "Secrets.xcconfig and rebuild.");
  }
  if (context_.notices.mailboxes.insert(rest_.account.id).second) {
    Task<void> telling =
        tell("Set HALCYRA_MICROSOFT_OAUTH_CLIENT_ID in Secrets.xcconfig and rebuild.", true);
    co_await std::move(telling);
  }
  co_return PassResult::notConfigured;
}

Task<std::vector<InboxUnreadItem>> GraphPass::list() {
  Task<std::string> getting =
      rest_.clients.tokens.validMicrosoftAccessToken(rest_.config, rest_.account.id);
  token_ = co_await std::move(getting);
  Task<std::vector<InboxUnreadItem>> listing =
      rest_.clients.graph.listTodayUnreadInbox(token_, mostRestMessages);
  co_return co_await std::move(listing);
}

Task<void> GraphPass::handle(InboxUnreadItem item) {
  if (isInOtherTab(item)) {
    Task<void> skipping =
        skipAtTransport(rest_, "graph:", item.id, PrefilterSkipReason::outlookOther);
    co_await std::move(skipping);
    co_return;
  }
  Task<std::optional<ParsedMail>> fetching = fetch(item.id);
  std::optional<ParsedMail> mail = co_await std::move(fetching);
  if (!mail) co_return;
  Task<bool> processing = rest_.process(std::move(*mail));
  co_await std::move(processing);
}

bool GraphPass::isInOtherTab(const InboxUnreadItem& item) const {
  return rest_.config.prefilterMarketingEnabled && rest_.config.prefilterOutlookOtherTab &&
         asciiLowercased(trimmed(item.inferenceClassification.value_or(""))) == "other";
}

// Nothing, after logging why, when the message cannot be had.
Task<std::optional<ParsedMail>> GraphPass::fetch(std::string id) {
  std::string failure;
  try {
    Task<std::string> fetching = fetchText(id);
    std::string text = co_await std::move(fetching);
    co_return ParsedMail::fromRawMessage(rest_.account.id, id, syntheticUid(id), std::move(text));
  } catch (const std::exception& error) {
    failure = error.what();
  }
  log("Graph fetch " + onOneLine(id) + ": " + onOneLine(failure));
  co_return std::nullopt;
}

Task<std::string> GraphPass::fetchText(std::string id) {
  Task<std::optional<std::string>> fetching = rest_.clients.graph.fetchRawMessage(token_, id);
  std::optional<std::string> raw = co_await std::move(fetching);
  if (raw && !raw->empty()) co_return std::move(*raw);
  Task<std::string> building = rest_.clients.graph.fetchSynthesizedMessage(token_, std::move(id));
  co_return co_await std::move(building);
}

// A failure may carry a whole page of the server's.
Task<void> GraphPass::tell(std::string text, bool isError) {
  constexpr std::size_t longestStatus = 1000;
  if (hasMoreGraphemesThan(text, longestStatus)) {
    text = std::string(graphemePrefix(text, longestStatus)) + "…";
  }
  Task<void> telling = context_.tellStatus(stamp_ + " — " + text, isError);
  co_await std::move(telling);
}

}  // namespace

Task<PassResult> runGraphPass(GraphPassContext context) {
  GraphPass pass(std::move(context));
  co_return co_await pass.run();
}

}  // namespace halcyra

#include "cli/ProviderTest.h"

#include "app/GraphDiagnosticsReport.h"
#include "cli/MailboxTest.h"
#include "signin/ScopeHint.h"

namespace halcyra {
namespace {

Task<std::string> testGmail(Providers& providers, std::string accountId) {
  Task<std::string> getting = providers.tokens().validGoogleAccessToken(std::move(accountId));
  std::string token = co_await std::move(getting);
  Task<std::vector<std::string>> listing =
      providers.gmail().listTodayUnreadInboxMessageIds(std::move(token), mostRestMessages);
  const std::vector<std::string> ids = co_await std::move(listing);
  co_return "Mailbox OK — signed in, " + std::to_string(ids.size()) + " unread today.";
}

Task<std::string> testGraph(Providers& providers, AppConfig config, std::string accountId) {
  Task<std::string> getting =
      providers.tokens().validMicrosoftAccessToken(config, std::move(accountId));
  std::string token = co_await std::move(getting);
  Task<InboxDiagnostics> loading =
      providers.graph().loadInboxDiagnostics(std::move(token), mostRestMessages);
  const DiagnosticsNotice notice = graphDiagnosticsReport(co_await std::move(loading));
  if (notice.isError) throw MailboxTestError(notice.text);
  co_return notice.text;
}

}  // namespace

Task<std::string> testProviderMailbox(Providers& providers, AppConfig config, MailAccount account) {
  const bool gmail = std::holds_alternative<GoogleGmail>(account.kind);
  try {
    Task<std::string> testing = gmail ? testGmail(providers, account.id)
                                      : testGraph(providers, std::move(config), account.id);
    co_return co_await std::move(testing);
  } catch (const MailboxTestError&) {
    throw;
  } catch (const std::exception& error) {
    throw MailboxTestError(scopeHint(error.what(), gmail ? "Google" : "Microsoft"));
  }
}

}  // namespace halcyra

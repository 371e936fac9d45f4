#include "mail/GraphDiagnostics.h"

#include "mail/ApiRequest.h"
#include "mail/GraphReplies.h"
#include "text/Json.h"

namespace halcyra {
namespace {

// What `read` makes of the body; an empty record where there is none or it cannot be read.
template <class Record>
Record recordIn(const std::optional<std::string>& body, Record (*read)(std::string_view)) {
  try {
    if (body) return read(*body);
  } catch (const JsonError&) {
    // The report has no place for it.
  }
  return {};
}

}  // namespace

Task<InboxDiagnostics> GraphDiagnostics::load(std::string accessToken, int limit) {
  InboxDiagnostics report;
  FolderNames names;
  Task<void> person = loadPerson(accessToken, report);
  co_await std::move(person);
  Task<void> inbox = loadInbox(accessToken, report);
  co_await std::move(inbox);
  Task<void> folders = loadFolders(accessToken, report, names);
  co_await std::move(folders);
  Task<void> recent = loadRecent(accessToken, report, names);
  co_await std::move(recent);
  Task<void> unread = loadUnread(accessToken, report, limit);
  co_await std::move(unread);
  co_return report;
}

Task<std::optional<std::string>> GraphDiagnostics::bodyOf(std::string accessToken,
                                                          std::string target) {
  try {
    Task<HttpResponse> reading = exchange_.get(accessToken, {target});
    HttpResponse response = co_await std::move(reading);
    if (isSuccess(response)) co_return std::move(response.body);
  } catch (const std::runtime_error&) {
    // The report has no place for it.
  }
  co_return std::nullopt;
}

Task<void> GraphDiagnostics::loadPerson(std::string accessToken, InboxDiagnostics& report) {
  Task<std::optional<std::string>> reading =
      bodyOf(accessToken, "/me" + graphQuery({{"$select", "mail,userPrincipalName"}}));
  const std::optional<std::string> body = co_await std::move(reading);
  report.signedInMailboxOrUpn = recordIn(body, graphMailbox);
}

Task<void> GraphDiagnostics::loadInbox(std::string accessToken, InboxDiagnostics& report) {
  Task<std::optional<std::string>> reading =
      bodyOf(accessToken,
             "/me/mailFolders/inbox" + graphQuery({{"$select", "unreadItemCount,totalItemCount"}}));
  const std::optional<std::string> body = co_await std::move(reading);
  const GraphInboxCounts counts = recordIn(body, graphInboxCounts);
  report.inboxUnreadItemCount = counts.unread;
  report.inboxTotalItemCount = counts.total;
}

Task<void> GraphDiagnostics::loadFolders(std::string accessToken, InboxDiagnostics& report,
                                         FolderNames& names) {
  const std::string query =
      graphQuery({{"$select", "id,displayName,totalItemCount,unreadItemCount,wellKnownFolderName"},
                  {"$top", "50"}});
  Task<std::optional<std::string>> reading = bodyOf(accessToken, "/me/mailFolders" + query);
  const std::optional<std::string> body = co_await std::move(reading);
  GraphFolders folders = recordIn(body, graphFolders);
  report.rootFolderStats = std::move(folders.lines);
  names = std::move(folders.displayNameById);
}

Task<void> GraphDiagnostics::loadRecent(std::string accessToken, InboxDiagnostics& report,
                                        const FolderNames& names) {
  const std::string query =
      graphQuery({{"$top", "8"},
                  {"$orderby", "receivedDateTime desc"},
                  {"$select", "subject,isRead,parentFolderId,receivedDateTime"}});
  try {
    Task<HttpResponse> reading = exchange_.get(accessToken, {"/me/messages" + query});
    const HttpResponse response = co_await std::move(reading);
    if (isSuccess(response)) {
      report.recentMessagesAnywhere = graphRecentMail(response.body, names);
      co_return;
    }
    const std::string body = shownBody(response, accessToken);
    report.recentMessagesErrorDescription =
        body.empty() ? "HTTP " + std::to_string(response.status) + " loading recent messages."
                     : body;
  } catch (const std::runtime_error& error) {
    report.recentMessagesErrorDescription = error.what();
  }
}

Task<void> GraphDiagnostics::loadUnread(std::string accessToken, InboxDiagnostics& report,
                                        int limit) {
  try {
    Task<std::vector<InboxUnreadItem>> listing = listing_.listTodayUnread(accessToken, limit);
    const std::vector<InboxUnreadItem> items = co_await std::move(listing);
    report.listedUnreadMessageCount = static_cast<std::int64_t>(items.size());
  } catch (const std::runtime_error& error) {
    report.listUnreadErrorDescription = error.what();
  }
}

}  // namespace halcyra

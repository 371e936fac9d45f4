#include "app/GraphDiagnosticsReport.h"

#include <algorithm>
#include <vector>

#include "text/Case.h"

namespace halcyra {
namespace {

template <class Range, class Text>
std::string joined(const Range& range, const char* separator, Text text) {
  std::string result;
  for (const auto& item : range) result += (result.empty() ? "" : separator) + text(item);
  return result;
}

std::string folderText(const FolderStatLine& folder) {
  return folder.displayName + " " + std::to_string(folder.unread) + " unread / " +
         std::to_string(folder.total) + " total";
}

std::string mailText(const RecentMailLine& mail) {
  return mail.subject + "— in " + mail.folderLabel + ", read=" + (mail.isRead ? "yes" : "no");
}

bool hasMail(const FolderStatLine& folder) {
  return folder.total > 0;
}

// Why there may be nothing to sync; empty when nothing speaks for it.
std::string advice(const InboxDiagnostics& d) {
  if (std::ranges::none_of(d.rootFolderStats, hasMail) && d.recentMessagesAnywhere.empty()) {
    return "Most likely you’re signed into a different Microsoft account here than the inbox you "
           "watch in Outlook. Remove this Outlook account in Halcyra, add it again, and sign in "
           "with the same login you use in Outlook on the web or the app.";
  }
  const bool elsewhere = std::ranges::any_of(d.rootFolderStats, [](const FolderStatLine& folder) {
    return asciiLowercased(folder.displayName) != "inbox" && hasMail(folder);
  });
  if (d.inboxTotalItemCount.value_or(0) <= 0 && elsewhere) {
    return "Graph shows mail in other folders but Inbox is empty. This app only syncs the main "
           "Inbox. Move a message into Inbox, or send new mail to the signed-in address from "
           "another mailbox.";
  }
  return {};
}

std::vector<std::string> pieces(const InboxDiagnostics& d) {
  std::vector<std::string> list;
  if (d.signedInMailboxOrUpn) {
    list.push_back("Signed in as " + *d.signedInMailboxOrUpn +
                   " — send your test mail to this exact address so Graph sees the same mailbox "
                   "as Halcyra");
  }
  if (d.inboxUnreadItemCount) {
    list.push_back("Inbox folder (Graph): " + std::to_string(*d.inboxUnreadItemCount) + " unread");
  }
  if (d.inboxTotalItemCount) {
    list.push_back("Inbox total " + std::to_string(*d.inboxTotalItemCount) + " messages");
  }
  list.push_back("Unread list for sync: " + std::to_string(d.listedUnreadMessageCount) +
                 " message(s)");
  if (d.listUnreadErrorDescription) {
    list.push_back("List API failed: " + *d.listUnreadErrorDescription);
  }
  if (!d.rootFolderStats.empty()) {
    list.push_back("All top-level folders (Graph): " +
                   joined(d.rootFolderStats, " · ", folderText));
  }
  if (d.recentMessagesErrorDescription) {
    list.push_back("Recent-mail query: " + *d.recentMessagesErrorDescription);
  }
  list.push_back(d.recentMessagesAnywhere.empty()
                     ? "Recent mail (any folder): none — Graph’s mailbox for this sign-in looks "
                       "completely empty"
                     : "Recent mail (any folder): " +
                           joined(d.recentMessagesAnywhere, "; ", mailText));
  if (std::string text = advice(d); !text.empty()) list.push_back(std::move(text));
  return list;
}

}  // namespace

DiagnosticsNotice graphDiagnosticsReport(const InboxDiagnostics& diagnostics) {
  DiagnosticsNotice notice;
  notice.text =
      joined(pieces(diagnostics), ". ", [](const std::string& piece) { return piece; }) + ".";
  notice.isError = diagnostics.listUnreadErrorDescription.has_value();
  const bool nothingUnread = diagnostics.listedUnreadMessageCount == 0 &&
                             diagnostics.inboxUnreadItemCount.value_or(0) == 0;
  if (!notice.isError && nothingUnread) {
    notice.text +=
        " Sync only processes unread Inbox mail received on the current calendar day (this Mac’s "
        "time zone). Older unread messages are skipped until a new day. Junk-only / “Other” in "
        "Graph still applies as before.";
  }
  return notice;
}

}  // namespace halcyra

#include "app/GraphDiagnosticsReport.h"

#include <gtest/gtest.h>

namespace halcyra {
namespace {

const std::string noRecent =
    ". Recent mail (any folder): none — Graph’s mailbox for this sign-in looks completely empty";
const std::string otherAccount =
    ". Most likely you’re signed into a different Microsoft account here than the inbox you watch "
    "in Outlook. Remove this Outlook account in Halcyra, add it again, and sign in with the same "
    "login you use in Outlook on the web or the app..";
const std::string notInInbox =
    ". Graph shows mail in other folders but Inbox is empty. This app only syncs the main Inbox. "
    "Move a message into Inbox, or send new mail to the signed-in address from another mailbox..";
const std::string onlyToday =
    " Sync only processes unread Inbox mail received on the current calendar day (this Mac’s time "
    "zone). Older unread messages are skipped until a new day. Junk-only / “Other” in Graph still "
    "applies as before.";

std::string listed(int count) {
  return "Unread list for sync: " + std::to_string(count) + " message(s)";
}

std::string folders(const std::string& list) {
  return ". All top-level folders (Graph): " + list;
}

TEST(GraphDiagnosticsReport, TellsWhatThereIsAndWhatMayBeWrong) {
  const RecentMailLine read{"Lunch", true, "Archive"};
  const RecentMailLine unread{"(no subject)", false, "folder id…AAMkAG"};
  const FolderStatLine inbox{"INBOX", 0, 0, "inbox"};
  const FolderStatLine archive{"Archive", 3, 1, std::nullopt};
  const std::string bothRead =
      ". Recent mail (any folder): Lunch— in Archive, read=yes; "
      "(no subject)— in folder id…AAMkAG, read=no";
  const std::string lunch = ". Recent mail (any folder): Lunch— in Archive, read=yes";
  const std::string stats = "INBOX 0 unread / 0 total";
  const std::string moreStats = "INBOX 0 unread / 0 total · Archive 1 unread / 3 total";
  struct Case {
    InboxDiagnostics found;
    std::string text;
    bool isError = false;
  };
  const Case cases[] = {
      {{}, listed(0) + noRecent + otherAccount + onlyToday},
      {{"me@x", 2, 9, 1, std::nullopt, {{"Inbox", 9, 2, "inbox"}, archive}, {read, unread}, {}},
       "Signed in as me@x — send your test mail to this exact address so Graph sees the same "
       "mailbox as Halcyra. Inbox folder (Graph): 2 unread. Inbox total 9 messages. " +
           listed(1) + folders("Inbox 2 unread / 9 total · Archive 1 unread / 3 total") + bothRead +
           "."},
      // An unread mail on either side is enough to leave the hint out.
      {{{}, 1, {}, 0, {}, {}, {read}, {}},
       "Inbox folder (Graph): 1 unread. " + listed(0) + lunch + "."},
      {{{}, 0, {}, 2, {}, {}, {read}, {}},
       "Inbox folder (Graph): 0 unread. " + listed(2) + lunch + "."},
      {{{}, 0, {}, 0, {}, {}, {read}, {}},
       "Inbox folder (Graph): 0 unread. " + listed(0) + lunch + "." + onlyToday},
      {{{}, {}, {}, 0, "HTTP 403: no", {}, {}, "HTTP 500 loading recent messages."},
       listed(0) +
           ". List API failed: HTTP 403: no. Recent-mail query: HTTP 500 loading recent messages." +
           noRecent + otherAccount,
       true},
      // Empty folders and no recent mail: the account is the wrong one. A recent mail speaks
      // against that, and a filled folder leaves the empty inbox to be explained.
      {{{}, {}, 0, 1, {}, {inbox}, {}, {}},
       "Inbox total 0 messages. " + listed(1) + folders(stats) + noRecent + otherAccount},
      {{{}, {}, 0, 1, {}, {inbox}, {read}, {}},
       "Inbox total 0 messages. " + listed(1) + folders(stats) + lunch + "."},
      {{{}, {}, 0, 1, {}, {inbox, archive}, {}, {}},
       "Inbox total 0 messages. " + listed(1) + folders(moreStats) + noRecent + notInInbox},
      {{{}, {}, {}, 1, {}, {archive}, {read}, {}},
       listed(1) + folders("Archive 1 unread / 3 total") + lunch + notInInbox},
      {{{}, {}, 4, 1, {}, {archive}, {read}, {}},
       "Inbox total 4 messages. " + listed(1) + folders("Archive 1 unread / 3 total") + lunch +
           "."},
      {{{}, {}, 0, 1, {}, {{"inBox", 2, 0, {}}}, {read}, {}},
       "Inbox total 0 messages. " + listed(1) + folders("inBox 0 unread / 2 total") + lunch + "."},
  };
  for (const Case& c : cases) {
    const DiagnosticsNotice notice = graphDiagnosticsReport(c.found);
    EXPECT_EQ(notice.text, c.text);
    EXPECT_EQ(notice.isError, c.isError) << c.text;
  }
}

}  // namespace
}  // namespace halcyra

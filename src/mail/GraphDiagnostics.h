#pragma once

#include <map>
#include <string>

#include "mail/GraphExchange.h"
#include "mail/GraphInboxListing.h"
#include "mail/GraphMailRecords.h"

namespace halcyra {

/// Gathers what Graph shows of a mailbox. A part that fails is missing from the report.
class GraphDiagnostics {
 public:
  /// Both outlive the object.
  GraphDiagnostics(GraphExchange& exchange, GraphInboxListing& listing)
      : exchange_(exchange), listing_(listing) {}

  Task<InboxDiagnostics> load(std::string accessToken, int limit);

 private:
  using FolderNames = std::map<std::string, std::string>;

  // Each adds its part to the report, which outlives it.
  Task<void> loadPerson(std::string accessToken, InboxDiagnostics& report);
  Task<void> loadInbox(std::string accessToken, InboxDiagnostics& report);
  Task<void> loadFolders(std::string accessToken, InboxDiagnostics& report, FolderNames& names);
  Task<void> loadRecent(std::string accessToken, InboxDiagnostics& report,
                        const FolderNames& names);
  Task<void> loadUnread(std::string accessToken, InboxDiagnostics& report, int limit);

  // The body of a success, nothing for any failure.
  Task<std::optional<std::string>> bodyOf(std::string accessToken, std::string target);

  GraphExchange& exchange_;
  GraphInboxListing& listing_;
};

}  // namespace halcyra

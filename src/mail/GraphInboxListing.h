#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mail/DayInterval.h"
#include "mail/GraphExchange.h"
#include "mail/GraphMailRecords.h"
#include "mail/GraphReplies.h"
#include "platform/Log.h"

namespace halcyra {

/// One way to ask for the inbox's unread mail of a day.
struct InboxQuery {
  /// As the log names it.
  std::string name;
  std::vector<std::pair<std::string, std::string>> items;
  /// Graph was asked for more than is wanted.
  bool needsFilter = false;
};

/// The ways in the order in which they are tried. Tenants refuse some combinations of filter, order
/// and fields, so each asks less of Graph than the one before.
std::vector<InboxQuery> inboxQueries(const DayInterval& day, int limit);

/// The unread messages received within the day, at most `limit`, in the order of the list. A
/// message without a usable time is left out.
std::vector<InboxUnreadItem> unreadWithin(const DayInterval& day,
                                          const std::vector<GraphListedMessage>& messages,
                                          int limit);

/// Finds the inbox's unread mail of the current local day.
class GraphInboxListing {
 public:
  /// All outlive the listing.
  GraphInboxListing(GraphExchange& exchange, const Clock& clock, Log& log)
      : exchange_(exchange), clock_(clock), log_(log) {}

  /// What the first way that works gives. Each that fails is logged; throws the failure of the
  /// last.
  Task<std::vector<InboxUnreadItem>> listTodayUnread(std::string accessToken, int limit);

 private:
  Task<std::vector<GraphListedMessage>> ask(std::string accessToken, const InboxQuery& query);

  GraphExchange& exchange_;
  const Clock& clock_;
  Log& log_;
};

}  // namespace halcyra

#include "mail/GraphInboxListing.h"

#include <algorithm>
#include <exception>

#include "mail/ApiRequest.h"
#include "text/ControlCharacters.h"
#include "text/InternetDate.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr const char* newestFirst = "receivedDateTime desc";
constexpr const char* unread = "isRead eq false";

InternetMoment milliseconds(TimePoint moment) {
  return std::chrono::floor<std::chrono::milliseconds>(moment);
}

std::string filterOf(const DayInterval& day) {
  return "receivedDateTime ge " + internetDateTime(milliseconds(day.start)) +
         " and receivedDateTime lt " + internetDateTime(milliseconds(day.end));
}

InboxQuery todayUnread(const DayInterval& day, int limit, std::string select, bool ordered) {
  InboxQuery query{
      "OData today+unread, select=" + select + ", orderBy=" + (ordered ? "true" : "false"),
      {{"$filter", std::string(unread) + " and " + filterOf(day)},
       {"$top", std::to_string(limit)},
       {"$select", select}}};
  if (ordered) query.items.emplace_back("$orderby", newestFirst);
  return query;
}

InboxQuery unreadScan(int limit) {
  return {"OData unread scan + today filter",
          {{"$filter", unread},
           {"$top", std::to_string(std::min(limit * 8, 200))},
           {"$orderby", newestFirst},
           {"$select", "id,isRead,inferenceClassification,receivedDateTime"}},
          true};
}

InboxQuery recentScan(int limit, std::string select) {
  return {"recent scan + today, select=" + select,
          {{"$top", std::to_string(std::min(limit * 8, 250))},
           {"$orderby", newestFirst},
           {"$select", select}},
          true};
}

// Also of a server that gives more than it was asked for no more than `limit`.
std::vector<InboxUnreadItem> asTheyAre(const std::vector<GraphListedMessage>& messages, int limit) {
  std::vector<InboxUnreadItem> items;
  for (const GraphListedMessage& message : messages) {
    if (items.size() >= static_cast<std::size_t>(limit)) break;
    items.push_back({message.id, message.inferenceClassification});
  }
  return items;
}

bool receivedWithin(const DayInterval& day, const GraphListedMessage& message) {
  const std::string text = message.receivedDateTime.value_or("");
  const auto received = parseInternetDateTime(trimmed(text));
  return received && milliseconds(day.start) <= *received && *received < milliseconds(day.end);
}

}  // namespace

std::vector<InboxQuery> inboxQueries(const DayInterval& day, int limit) {
  return {todayUnread(day, limit, "id,inferenceClassification", true),
          todayUnread(day, limit, "id", true),
          todayUnread(day, limit, "id", false),
          unreadScan(limit),
          recentScan(limit, "id,isRead,inferenceClassification,receivedDateTime"),
          recentScan(limit, "id,isRead,receivedDateTime")};
}

std::vector<InboxUnreadItem> unreadWithin(const DayInterval& day,
                                          const std::vector<GraphListedMessage>& messages,
                                          int limit) {
  std::vector<InboxUnreadItem> items;
  for (const GraphListedMessage& message : messages) {
    if (items.size() >= static_cast<std::size_t>(std::max(limit, 0))) break;
    if (message.isRead.value_or(false) || !receivedWithin(day, message)) continue;
    items.push_back({message.id, message.inferenceClassification});
  }
  return items;
}

Task<std::vector<InboxUnreadItem>> GraphInboxListing::listTodayUnread(std::string accessToken,
                                                                      int limit) {
  const DayInterval day = currentDay(clock_);
  const std::vector<InboxQuery> queries = inboxQueries(day, limit);
  std::exception_ptr failure;
  for (const InboxQuery& query : queries) {
    try {
      Task<std::vector<GraphListedMessage>> asking = ask(accessToken, query);
      const std::vector<GraphListedMessage> messages = co_await std::move(asking);
      co_return query.needsFilter ? unreadWithin(day, messages, limit) : asTheyAre(messages, limit);
    } catch (const std::runtime_error& error) {
      log_.logLine("Graph inbox list failed (" + query.name + "): " + onOneLine(error.what()));
      failure = std::current_exception();
    }
  }
  std::rethrow_exception(failure);
}

Task<std::vector<GraphListedMessage>> GraphInboxListing::ask(std::string accessToken,
                                                             const InboxQuery& query) {
  Task<HttpResponse> reading = exchange_.get(
      accessToken,
      {"/me/mailFolders/inbox/messages" + graphQuery(query.items), GraphExchange::Address::list});
  const HttpResponse response = co_await std::move(reading);
  if (isSuccess(response)) co_return graphListedMessages(response.body);
  const std::string status = "HTTP " + std::to_string(response.status);
  const std::string body = shownBody(response, accessToken);
  throw graphError(response.status,
                   body.empty() ? status + " listing inbox messages." : status + ": " + body);
}

}  // namespace halcyra

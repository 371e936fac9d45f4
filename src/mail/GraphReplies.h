#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mail/GraphMailRecords.h"

namespace halcyra {

/// Reads the bodies of Graph's answers. Keys that are not asked for are ignored; a body that is no
/// JSON or has a value of the wrong type throws JsonError.

struct GraphListedMessage {
  std::string id;
  std::optional<bool> isRead;
  std::optional<std::string> inferenceClassification;
  std::optional<std::string> receivedDateTime;
};

struct GraphMessage {
  struct Sender {
    std::optional<std::string> name;
    std::optional<std::string> address;
  };

  std::optional<std::string> subject;
  Sender from;
  std::optional<std::string> receivedDateTime;
  std::optional<std::string> internetMessageId;
  /// Their contents.
  std::optional<std::string> body;
  std::optional<std::string> uniqueBody;
};

struct GraphFolders {
  std::vector<FolderStatLine> lines;
  std::map<std::string, std::string> displayNameById;
};

struct GraphInboxCounts {
  std::optional<std::int64_t> unread;
  std::optional<std::int64_t> total;
};

std::vector<GraphListedMessage> graphListedMessages(std::string_view body);
GraphMessage graphMessage(std::string_view body);
std::vector<std::string> graphCategories(std::string_view body);
std::vector<std::string> graphSentLines(std::string_view body);

/// `mail`, or where it is blank `userPrincipalName`.
std::optional<std::string> graphMailbox(std::string_view body);
GraphInboxCounts graphInboxCounts(std::string_view body);
GraphFolders graphFolders(std::string_view body);

/// The names of folders come from `displayNameById`.
std::vector<RecentMailLine> graphRecentMail(
    std::string_view body, const std::map<std::string, std::string>& displayNameById);

}  // namespace halcyra

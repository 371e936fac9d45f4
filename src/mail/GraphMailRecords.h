#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace halcyra {

/// An unread message of the inbox.
struct InboxUnreadItem {
  std::string id;
  /// "focused" or "other", as Graph gives it.
  std::optional<std::string> inferenceClassification;

  bool operator==(const InboxUnreadItem&) const = default;
};

struct EmailAddress {
  std::string address;

  bool operator==(const EmailAddress&) const = default;
};

struct EmailRecipient {
  EmailAddress emailAddress;

  bool operator==(const EmailRecipient&) const = default;
};

struct OutboundBody {
  std::string contentType = "Text";
  std::string content;

  bool operator==(const OutboundBody&) const = default;
};

struct Header {
  std::string name;
  std::string value;

  bool operator==(const Header&) const = default;
};

/// A message to be sent.
struct OutboundMessage {
  /// Line breaks in it go out as blanks.
  std::string subject;
  OutboundBody body;
  std::vector<EmailRecipient> toRecipients;
  std::optional<std::vector<Header>> internetMessageHeaders;

  bool operator==(const OutboundMessage&) const = default;
};

struct FolderStatLine {
  std::string displayName;
  std::int64_t total = 0;
  std::int64_t unread = 0;
  std::optional<std::string> wellKnownName;

  bool operator==(const FolderStatLine&) const = default;
};

struct RecentMailLine {
  std::string subject;
  bool isRead = false;
  std::string folderLabel;

  bool operator==(const RecentMailLine&) const = default;
};

/// What Graph shows of a mailbox, for a person who misses mail.
struct InboxDiagnostics {
  std::optional<std::string> signedInMailboxOrUpn;
  std::optional<std::int64_t> inboxUnreadItemCount;
  std::optional<std::int64_t> inboxTotalItemCount;
  std::int64_t listedUnreadMessageCount = 0;
  std::optional<std::string> listUnreadErrorDescription;
  std::vector<FolderStatLine> rootFolderStats;
  std::vector<RecentMailLine> recentMessagesAnywhere;
  std::optional<std::string> recentMessagesErrorDescription;

  bool operator==(const InboxDiagnostics&) const = default;
};

}  // namespace halcyra

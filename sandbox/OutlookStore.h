#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/ODataQuery.h"
#include "text/Json.h"

namespace halcyra::sandbox {

struct OutlookMessage {
  std::string id;
  /// Id of its folder.
  std::string folder;
  std::string raw;
  std::chrono::system_clock::time_point received;
  bool isRead = false;
  /// focused or other
  std::string inferenceClassification = "focused";
  std::vector<std::string> categories;
};

/// The messages and folders of an Outlook mailbox.
class OutlookStore {
 public:
  struct Folder {
    std::string id;
    std::string wellKnownName;
    std::string displayName;
  };

  /// The id of the new message; it holds characters that an address must encode.
  std::string add(OutlookMessage message);

  /// Null for an unknown id.
  OutlookMessage* find(std::string_view id);

  /// What a query finds in a folder, or in all of them for an empty id. Without an order the
  /// newest come first.
  std::vector<const OutlookMessage*> search(std::string_view folder, const ODataQuery& query) const;

  static const std::vector<Folder>& folders();
  /// By id or well-known name; null for an unknown one.
  static const Folder* folderOf(std::string_view name);

  const std::vector<OutlookMessage>& messages() const { return messages_; }

 private:
  std::vector<OutlookMessage> messages_;
};

/// The message as Graph's resource of this type (all properties but uniqueBody, which comes only to
/// those who select it).
nlohmann::json messageResource(const OutlookMessage& message, const ODataQuery& query);

/// Is this a property of that resource?
bool isMessageProperty(std::string_view name);

}  // namespace halcyra::sandbox

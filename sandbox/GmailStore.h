#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace halcyra::sandbox {

struct GmailMessage {
  std::string id;
  std::string raw;
  /// Label ids.
  std::set<std::string> labels;
  std::chrono::system_clock::time_point received;
};

struct GmailUserLabel {
  std::string id;
  std::string name;
};

/// The messages and labels of a Gmail mailbox.
class GmailStore {
 public:
  /// The id of the new message.
  std::string add(std::string raw, std::set<std::string> labels,
                  std::chrono::system_clock::time_point received);

  /// Null for an unknown id.
  GmailMessage* find(std::string_view id);

  /// The ids of what a query finds, newest first. Knows is:unread, in:NAME, and after: and before:
  /// with the start of a local day; other words are looked for in the messages.
  std::vector<std::string> search(const std::string& query) const;

  /// The new label, or nothing when the name is taken in any case.
  std::optional<GmailUserLabel> addLabel(const std::string& name);

  const std::vector<GmailUserLabel>& userLabels() const { return userLabels_; }
  static const std::vector<std::string>& systemLabels();
  bool hasLabel(const std::string& id) const;
  /// The name of a label id.
  std::string labelName(const std::string& id) const;

  const std::vector<GmailMessage>& messages() const { return messages_; }

 private:
  std::vector<GmailMessage> messages_;
  std::vector<GmailUserLabel> userLabels_;
};

}  // namespace halcyra::sandbox

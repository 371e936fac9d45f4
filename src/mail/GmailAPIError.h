#pragma once

#include <stdexcept>
#include <string>

namespace halcyra {

/// A call that the Gmail client does not make. What Gmail itself refuses is a ProviderError.
class GmailAPIError : public std::runtime_error {
 public:
  enum class Kind { invalidURL, emptyMailboxTag };

  static GmailAPIError invalidURL() { return {Kind::invalidURL, "Invalid Gmail API URL."}; }
  static GmailAPIError emptyMailboxTag() {
    return {Kind::emptyMailboxTag, "Empty mailbox tag name."};
  }

  Kind kind() const { return kind_; }

 private:
  GmailAPIError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

  Kind kind_;
};

}  // namespace halcyra

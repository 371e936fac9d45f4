#pragma once

#include <stdexcept>
#include <string>

namespace halcyra {

class IMAPError : public std::runtime_error {
 public:
  enum class Kind { protocolError, taggedFailure, connectionFailed, authenticationFailed };

  static IMAPError protocolError(const std::string& text) { return {Kind::protocolError, text}; }
  /// The server said NO or BAD; the text is the whole exchange.
  static IMAPError taggedFailure(const std::string& text) { return {Kind::taggedFailure, text}; }
  static IMAPError connectionFailed() {
    return {Kind::connectionFailed, "IMAP connection failed."};
  }
  static IMAPError authenticationFailed() {
    return {Kind::authenticationFailed, "IMAP login failed."};
  }

  Kind kind() const { return kind_; }

 private:
  IMAPError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

  Kind kind_;
};

}  // namespace halcyra

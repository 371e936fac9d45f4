#pragma once

#include <stdexcept>
#include <string>

namespace halcyra {

/// `what()` is fit to be shown: valid UTF-8, and never with the user's password.
class SMTPError : public std::runtime_error {
 public:
  enum class Kind { protocolError, sendFailed, connectionFailed };

  static SMTPError protocolError(const std::string& text) { return {Kind::protocolError, text}; }
  static SMTPError sendFailed(const std::string& text) { return {Kind::sendFailed, text}; }
  static SMTPError connectionFailed() {
    return {Kind::connectionFailed, "SMTP connection failed."};
  }

  Kind kind() const { return kind_; }

 private:
  SMTPError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

  Kind kind_;
};

}  // namespace halcyra

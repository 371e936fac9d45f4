#pragma once

#include <string>

#include "config/AppConfig.h"
#include "mail/ParsedMail.h"

namespace halcyra {

/// What the user is told after a forward.
struct ForwardNotification {
  /// The rule's name and criteria, at most 120 characters.
  std::string title;
  /// The subject, at most 500 characters.
  std::string body;

  bool operator==(const ForwardNotification&) const = default;
};

ForwardNotification forwardNotification(const ParsedMail& mail, const MailRule& rule);

}  // namespace halcyra

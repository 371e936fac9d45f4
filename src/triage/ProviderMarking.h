#pragma once

#include <optional>
#include <string>

#include "config/AppConfig.h"
#include "mail/ParsedMail.h"
#include "platform/Task.h"

namespace halcyra {

/// Marks a message read at Gmail or Graph, with a tag where one is given. Throws what the
/// provider's client throws.
class ProviderMarking {
 public:
  virtual ~ProviderMarking() = default;

  virtual Task<void> markProcessed(const ParsedMail& mail, const MailAccount& account,
                                   const AppConfig& config, std::optional<std::string> tag) = 0;
};

}  // namespace halcyra

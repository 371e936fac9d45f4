#pragma once

#include <memory>

#include "config/AppConfig.h"
#include "mail/ParsedMail.h"

namespace halcyra {

/// One mail as a sync pass hands it over, with the copies of the settings that the pass took.
struct IncomingMail {
  ParsedMail mail;
  AppConfig config;
  MailAccount account;
};

/// A message may be large, and suggestions keep it for a later answer, so its holders share it.
using SharedIncomingMail = std::shared_ptr<const IncomingMail>;

}  // namespace halcyra

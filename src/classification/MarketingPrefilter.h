#pragma once

#include <optional>
#include <string_view>

#include "config/AppConfig.h"
#include "mail/ParsedMail.h"

namespace halcyra {

/// The first of the three content tests that says bulk mail, or nothing. Nothing is asked of any
/// model, and with `prefilterMarketingEnabled` off nothing is skipped.
std::optional<PrefilterSkipReason> marketingSkipReason(const ParsedMail& mail,
                                                       const AppConfig& config);

/// Headers that only lists, bulk senders and answering machines set.
bool isBulkListMail(const ParsedMail& mail, const AppConfig& config);

/// The word "unsubscribe" in subject, body or the first 500,000 characters of the source.
bool containsUnsubscribeWord(const ParsedMail& mail);

/// Phrases of newsletter templates, French and English, in the first 8,000 characters.
bool looksLikeNewsletterTemplate(const ParsedMail& mail, const AppConfig& config);

/// The reason's name in log lines.
std::string_view skipReasonLabel(PrefilterSkipReason reason);

}  // namespace halcyra

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "mail/ParsedMail.h"

namespace halcyra {

/// What a lead is made of, for either CRM; in JSON the format in which the model answers.
struct DynamicsLeadFields {
  /// A short title of the lead.
  std::optional<std::string> subject;
  std::optional<std::string> first_name;
  std::optional<std::string> last_name;
  std::optional<std::string> company_name;
  std::optional<std::string> email;
  std::optional<std::string> telephone;
  std::optional<std::string> mobile;
  std::optional<std::string> job_title;
  std::optional<std::string> website;
  std::optional<std::string> address_line;
  std::optional<std::string> city;
  std::optional<std::string> state;
  std::optional<std::string> postal_code;
  std::optional<std::string> country;
  /// What the sender wants, in a few sentences.
  std::optional<std::string> notes;

  bool operator==(const DynamicsLeadFields&) const = default;
};

/// What the mail's subject and From line tell.
DynamicsLeadFields fromLineLeadFields(const ParsedMail& mail);

/// Each field of `upper` that holds more than white space, else that of `lower`; all trimmed.
DynamicsLeadFields mergedLeadFields(const DynamicsLeadFields& upper,
                                    const DynamicsLeadFields& lower);

/// A JSON object of texts; keys may be absent, null or unknown. Throws JsonError or ConfigError,
/// without quoting the text.
DynamicsLeadFields decodeLeadFields(std::string_view text);

}  // namespace halcyra

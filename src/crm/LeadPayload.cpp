#include "crm/LeadPayload.h"

#include <optional>
#include <string_view>

#include "text/Graphemes.h"
#include "text/Json.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr std::size_t longestLeadTitle = 300;
constexpr std::size_t longestTitleFromMail = 200;
constexpr std::size_t longestField = 4000;
constexpr std::size_t longestCompany = 255;
constexpr std::size_t longestQuotedBody = 12000;
constexpr std::size_t longestDynamicsDescription = 100000;
constexpr std::size_t longestSalesforceDescription = 32000;

std::string cut(std::string_view text, std::size_t characters) {
  return std::string(graphemePrefix(text, characters));
}

std::string_view trimmedOrEmpty(const std::optional<std::string>& field) {
  return field ? trimmed(*field) : std::string_view();
}

/// A key of the CRM and the field that fills it.
struct FieldKey {
  const char* key;
  std::optional<std::string> DynamicsLeadFields::*field;
  std::size_t longest = longestField;
};

constexpr FieldKey dynamicsKeys[] = {
    {"firstname", &DynamicsLeadFields::first_name},
    {"lastname", &DynamicsLeadFields::last_name},
    {"companyname", &DynamicsLeadFields::company_name},
    {"emailaddress1", &DynamicsLeadFields::email},
    {"telephone1", &DynamicsLeadFields::telephone},
    {"mobilephone", &DynamicsLeadFields::mobile},
    {"jobtitle", &DynamicsLeadFields::job_title},
    {"websiteurl", &DynamicsLeadFields::website},
    {"address1_line1", &DynamicsLeadFields::address_line},
    {"address1_city", &DynamicsLeadFields::city},
    {"address1_stateorprovince", &DynamicsLeadFields::state},
    {"address1_postalcode", &DynamicsLeadFields::postal_code},
    {"address1_country", &DynamicsLeadFields::country},
};

constexpr FieldKey salesforceKeys[] = {
    {"FirstName", &DynamicsLeadFields::first_name},
    {"LastName", &DynamicsLeadFields::last_name},
    {"Company", &DynamicsLeadFields::company_name, longestCompany},
    {"Email", &DynamicsLeadFields::email},
    {"Phone", &DynamicsLeadFields::telephone},
    {"MobilePhone", &DynamicsLeadFields::mobile},
    {"Title", &DynamicsLeadFields::job_title},
    {"Website", &DynamicsLeadFields::website},
    {"Street", &DynamicsLeadFields::address_line},
    {"City", &DynamicsLeadFields::city},
    {"PostalCode", &DynamicsLeadFields::postal_code},
    {"Country", &DynamicsLeadFields::country},
    {"State", &DynamicsLeadFields::state},
};

template <std::size_t count>
void addFields(LeadPayload& payload, const FieldKey (&keys)[count],
               const DynamicsLeadFields& fields) {
  for (const FieldKey& each : keys) {
    const std::string_view value = trimmedOrEmpty(fields.*each.field);
    if (!value.empty()) payload[each.key] = cut(value, each.longest);
  }
}

std::string description(const DynamicsLeadFields& fields, const ParsedMail& mail,
                        std::size_t longest) {
  std::string text;
  if (const std::string_view notes = trimmedOrEmpty(fields.notes); !notes.empty()) {
    text.append("Summary (AI)\n").append(notes).append("\n\n");
  }
  text.append("From: ").append(mail.from).append("\n\n");
  text.append(graphemePrefix(mail.bodyText, longestQuotedBody));
  return cut(text, longest);
}

}  // namespace

std::string leadTitle(const DynamicsLeadFields& fields, const ParsedMail& mail) {
  if (const std::string_view subject = trimmedOrEmpty(fields.subject); !subject.empty()) {
    return cut(subject, longestLeadTitle);
  }
  const std::string_view subject = trimmed(mail.subject);
  return subject.empty() ? "Lead from email" : "Email: " + cut(subject, longestTitleFromMail);
}

LeadPayload dynamicsLeadPayload(const DynamicsLeadFields& fields, const ParsedMail& mail) {
  LeadPayload payload;
  payload["subject"] = leadTitle(fields, mail);
  addFields(payload, dynamicsKeys, fields);
  payload["description"] = description(fields, mail, longestDynamicsDescription);
  return payload;
}

LeadPayload salesforceLeadPayload(const DynamicsLeadFields& fields, const ParsedMail& mail) {
  LeadPayload payload;
  payload["LeadSource"] = "Halcyra";
  addFields(payload, salesforceKeys, fields);
  if (!payload.contains("LastName")) payload["LastName"] = "Unknown";
  if (!payload.contains("Company"))
    payload["Company"] = cut(leadTitle(fields, mail), longestCompany);
  payload["Description"] = description(fields, mail, longestSalesforceDescription);
  return payload;
}

std::string leadText(const LeadPayload& payload) {
  return withControlsEscaped(payload.dump(-1, ' ', false, LeadPayload::error_handler_t::replace));
}

}  // namespace halcyra

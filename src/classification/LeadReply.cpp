#include "classification/LeadReply.h"

#include <optional>

#include "classification/LLMError.h"
#include "classification/ReplyObject.h"
#include "config/ConfigJson.h"
#include "text/Json.h"

namespace halcyra {

const std::string_view leadSystemText =
    "You extract CRM lead fields from an inbound email (for Dynamics 365 or Salesforce lead "
    "creation). Return a single JSON object only (no markdown). Use null for anything unknown or "
    "not stated.\n\n"
    "Keys (all optional strings except use null when absent):\n"
    "- \"subject\": Short lead title for the sales team (e.g. inquiry topic), not the raw email "
    "subject if a better summary exists.\n"
    "- \"first_name\", \"last_name\": Contact person's name when inferable from the From line or "
    "signature.\n"
    "- \"company_name\": Organization the sender represents (signature, domain context, or "
    "explicit "
    "mention).\n"
    "- \"email\": Best contact email (prefer the sender's address if no other is given).\n"
    "- \"telephone\", \"mobile\": Phone numbers as written in the body or signature.\n"
    "- \"job_title\": If visible in signature or text.\n"
    "- \"website\": Company or personal URL if clearly stated.\n"
    "- \"address_line\", \"city\", \"state\", \"postal_code\", \"country\": Only if clearly "
    "present.\n"
    "- \"notes\": 1–4 sentences summarizing what they want (intent), for the sales owner.\n\n"
    "Prefer the email body and signature over guessing. Do not invent people or companies not "
    "supported by the text.";

namespace {

std::optional<DynamicsLeadFields> fieldsIn(std::string_view text) {
  try {
    return decodeLeadFields(text);
  } catch (const JsonError&) {
  } catch (const ConfigError&) {
    // JSON of another shape.
  }
  return std::nullopt;
}

}  // namespace

DynamicsLeadFields parseLeadReply(std::string_view reply) {
  const std::string text = withoutFences(reply);
  if (auto fields = fieldsIn(text)) return std::move(*fields);
  const std::optional<std::string_view> object = betweenBraces(text);
  auto fields = object ? fieldsIn(*object) : std::nullopt;
  if (!fields) throw LLMError::decodeFailed();
  return std::move(*fields);
}

}  // namespace halcyra

#include "crm/DynamicsLeadFields.h"

#include <algorithm>
#include <array>
#include <vector>

#include "config/RecordTable.h"
#include "mail/MailAddress.h"
#include "text/Graphemes.h"
#include "text/Json.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {

template <>
std::span<const Field<DynamicsLeadFields>> fieldsOf() {
  using R = DynamicsLeadFields;
  using enum Absent;
  static constexpr std::array fields = {
      field<&R::subject>("subject", isDefault),
      field<&R::first_name>("first_name", isDefault),
      field<&R::last_name>("last_name", isDefault),
      field<&R::company_name>("company_name", isDefault),
      field<&R::email>("email", isDefault),
      field<&R::telephone>("telephone", isDefault),
      field<&R::mobile>("mobile", isDefault),
      field<&R::job_title>("job_title", isDefault),
      field<&R::website>("website", isDefault),
      field<&R::address_line>("address_line", isDefault),
      field<&R::city>("city", isDefault),
      field<&R::state>("state", isDefault),
      field<&R::postal_code>("postal_code", isDefault),
      field<&R::country>("country", isDefault),
      field<&R::notes>("notes", isDefault),
  };
  return fields;
}

namespace {

constexpr std::size_t longestSubject = 300;

std::vector<std::string> wordsOf(std::string_view text) {
  std::vector<std::string> words;
  bool inWord = false;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t begin = at;
    if (isWhiteSpace(nextCodePoint(text, at))) {
      inWord = false;
      continue;
    }
    if (!inWord) words.emplace_back();
    inWord = true;
    words.back().append(text, begin, at - begin);
  }
  return words;
}

// The name before the address; one piece alone may be the address once more.
void readNames(std::string_view from, DynamicsLeadFields& fields) {
  from = trimmed(from);
  const std::size_t bracket = from.find('<');
  if (bracket == from.npos || bracket == 0) return;
  std::string name(trimmed(from.substr(0, bracket)));
  std::erase(name, '"');
  const std::vector<std::string> words = wordsOf(name);
  if (words.empty() || (words.size() == 1 && words[0].find('@') != std::string::npos)) return;
  fields.first_name = words[0];
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (i == 1) {
      fields.last_name = words[i];
    } else {
      fields.last_name->append(" ").append(words[i]);
    }
  }
}

// The value of one field, empty when it is absent or blank.
std::string trimmedValue(const Field<DynamicsLeadFields>& field, const DynamicsLeadFields& record) {
  const nlohmann::json value = field.encode(record);
  if (value.is_null()) return "";
  return std::string(trimmed(value.get_ref<const std::string&>()));
}

}  // namespace

DynamicsLeadFields fromLineLeadFields(const ParsedMail& mail) {
  DynamicsLeadFields fields;
  if (const std::string_view subject = trimmed(mail.subject); !subject.empty()) {
    fields.subject = graphemePrefix(subject, longestSubject);
  }
  fields.email = extractMailAddress(mail.from);
  readNames(mail.from, fields);
  return fields;
}

DynamicsLeadFields mergedLeadFields(const DynamicsLeadFields& upper,
                                    const DynamicsLeadFields& lower) {
  DynamicsLeadFields merged;
  for (const Field<DynamicsLeadFields>& field : fieldsOf<DynamicsLeadFields>()) {
    std::string value = trimmedValue(field, upper);
    if (value.empty()) value = trimmedValue(field, lower);
    if (!value.empty()) field.decode(std::move(value), merged, Place());
  }
  return merged;
}

DynamicsLeadFields decodeLeadFields(std::string_view text) {
  DynamicsLeadFields fields;
  decodeValue(parseJson(text), fields, Place());
  return fields;
}

}  // namespace halcyra

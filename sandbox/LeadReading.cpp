#include "sandbox/LeadReading.h"

#include <algorithm>
#include <string>
#include <vector>

#include "text/Case.h"
#include "text/Trim.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

struct Letter {
  std::string subject;
  std::string name;
  std::string address;
  /// Of the body, trimmed, the empty ones left out.
  std::vector<std::string> lines;
};

Letter letterIn(std::string_view text) {
  Letter letter;
  bool inBody = false;
  while (!text.empty()) {
    const std::string_view line = trimmed(text.substr(0, text.find('\n')));
    text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
    if (line.empty()) continue;
    if (!inBody && line.starts_with("Subject: ")) {
      letter.subject = line.substr(9);
    } else if (!inBody && line.starts_with("From: ")) {
      const std::size_t open = std::min(line.find('<', 6), line.size());
      if (open < line.size()) letter.name = trimmed(line.substr(6, open - 6));
      letter.address = trimmedOf(line.substr(open < line.size() ? open : 6), "<>");
      inBody = true;
    } else {
      letter.lines.emplace_back(line);
    }
  }
  return letter;
}

json orNull(const std::string& text) {
  return text.empty() ? json(nullptr) : json(text);
}

// What stands behind one of the labels, for instance "Tel. +44 20 7946 0958".
std::string labelled(const Letter& letter, std::initializer_list<std::string_view> labels) {
  for (const std::string& line : letter.lines) {
    for (const std::string_view label : labels) {
      if (!asciiLowercased(line).starts_with(label)) continue;
      const std::string_view number = trimmedOf(std::string_view(line).substr(label.size()), ".: ");
      if (number.find_first_of("0123456789") != number.npos) return std::string(number);
    }
  }
  return "";
}

// The line below the sender's name at the end of the letter.
std::string companyOf(const Letter& letter) {
  const auto signature = std::find(letter.lines.rbegin(), letter.lines.rend(), letter.name);
  if (letter.name.empty() || signature == letter.lines.rend()) return "";
  return signature == letter.lines.rbegin() ? "" : *(signature - 1);
}

// Lines are sentences broken anywhere, so they are joined first.
std::string firstQuestion(const Letter& letter) {
  std::string text;
  for (const std::string& line : letter.lines) text += (text.empty() ? "" : " ") + line;
  const std::size_t mark = text.find('?');
  if (mark == text.npos) return "";
  const std::size_t before = std::string_view(text).substr(0, mark).find_last_of(".!?");
  const std::size_t begin = before == text.npos ? 0 : before + 1;
  return std::string(trimmed(std::string_view(text).substr(begin, mark + 1 - begin)));
}

}  // namespace

json leadFieldsIn(std::string_view userMessage) {
  const Letter letter = letterIn(userMessage);
  const std::size_t blank = letter.name.find(' ');
  const std::string last = blank == std::string::npos ? "" : letter.name.substr(blank + 1);
  json fields;
  for (const char* unknown :
       {"job_title", "website", "address_line", "city", "state", "postal_code", "country"}) {
    fields[unknown] = nullptr;
  }
  fields["subject"] = orNull(letter.subject.empty() ? "" : "Enquiry: " + letter.subject);
  fields["first_name"] = orNull(letter.name.substr(0, blank));
  fields["last_name"] = orNull(last);
  fields["company_name"] = orNull(companyOf(letter));
  fields["email"] = orNull(letter.address);
  fields["telephone"] = orNull(labelled(letter, {"telephone", "tel", "phone"}));
  fields["mobile"] = orNull(labelled(letter, {"mobile", "mobil"}));
  fields["notes"] = orNull(firstQuestion(letter));
  return fields;
}

}  // namespace halcyra::sandbox

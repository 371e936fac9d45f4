#include "cli/MailRendering.h"

#include <utility>

#include "cli/Json.h"
#include "text/ControlCharacters.h"

namespace halcyra {

void writeMail(std::ostream& out, const ParsedMail& mail, RawSource raw) {
  for (const auto& [name, value] :
       {std::pair{"Message-ID", &mail.messageID}, std::pair{"Subject", &mail.subject},
        std::pair{"From", &mail.from}, std::pair{"Date", &mail.date}}) {
    out << name << ": " << onOneLine(*value) << '\n';
  }
  out << '\n' << printable(mail.bodyText) << '\n';
  if (raw == RawSource::shown) out << "\n--- source ---\n" << printable(mail.rawRFC822) << '\n';
}

std::string mailJson(const ParsedMail& mail, RawSource raw) {
  OrderedJson record;
  record["accountId"] = mail.accountId;
  record["uid"] = mail.uid;
  record["providerRESTId"] = orNull(mail.providerRESTId);
  record["messageID"] = mail.messageID;
  record["subject"] = mail.subject;
  record["from"] = mail.from;
  record["date"] = mail.date;
  if (raw == RawSource::shown) record["rawRFC822"] = mail.rawRFC822;
  record["bodyText"] = mail.bodyText;
  return jsonLine(record);
}

}  // namespace halcyra

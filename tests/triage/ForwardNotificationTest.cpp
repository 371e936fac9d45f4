#include "triage/ForwardNotification.h"

#include <gtest/gtest.h>

namespace halcyra {
namespace {

std::string repeated(const std::string& text, int count) {
  std::string result;
  while (count-- > 0) result += text;
  return result;
}

TEST(ForwardNotification, NamesTheRuleAndTheSubject) {
  struct {
    std::string name, criteria, subject, title, body;
  } const cases[] = {
      {" Billing ", "\nInvoices.\n", " Invoice 7\r\n", "Billing - Invoices.", "Invoice 7"},
      {"Billing", " ", "S", "Billing", "S"},
      {"", "Invoices.", "S", "Invoices.", "S"},
      {" ", "\n", " \t", "Forwarded", "No subject"},
      {repeated("é", 110), "0123456789", repeated("e\u0301", 501),
       repeated("é", 110) + " - 0123456", repeated("e\u0301", 500)},
      {repeated("n", 120), "c", repeated("s", 500), repeated("n", 120), repeated("s", 500)},
  };
  for (const auto& c : cases) {
    MailRule rule;
    rule.displayName = c.name;
    rule.criteriaPrompt = c.criteria;
    ParsedMail mail;
    mail.subject = c.subject;
    EXPECT_EQ(forwardNotification(mail, rule), (ForwardNotification{c.title, c.body})) << c.title;
  }
}

}  // namespace
}  // namespace halcyra

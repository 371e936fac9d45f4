#include "crm/LeadPayload.h"

#include <gtest/gtest.h>

#include "text/Json.h"

namespace halcyra {
namespace {

using nlohmann::json;

ParsedMail mailFrom(std::string from, std::string subject = "Hello", std::string body = "Text.") {
  ParsedMail mail;
  mail.from = std::move(from);
  mail.subject = std::move(subject);
  mail.bodyText = std::move(body);
  return mail;
}

// n characters of several bytes each.
std::string characters(std::size_t n) {
  std::string text;
  for (std::size_t i = 0; i < n; ++i) text += "é";
  return text;
}

TEST(LeadFields, ComeFromTheFromLineWithoutFail) {
  using Text = std::optional<std::string>;
  struct Case {
    const char* from;
    Text first, last, email;
  };
  const Case cases[] = {
      {"Ann Lee <ann@x.org>", "Ann", "Lee", "ann@x.org"},
      {"\"Lee, Ann\" <ann@x.org>", "Lee,", "Ann", "ann@x.org"},
      {" Ann\t van  der Lee <ann@x.org> ", "Ann", "van der Lee", "ann@x.org"},
      {"Ann <ann@x.org>", "Ann", {}, "ann@x.org"},
      {"\"A\"nn\xC2\xA0Lee<ann@x.org>", "Ann", "Lee", "ann@x.org"},
      {"ann@x.org <ann@x.org>", {}, {}, "ann@x.org"},
      {"\"\" <ann@x.org>", {}, {}, "ann@x.org"},
      {"<ann@x.org>", {}, {}, "ann@x.org"},
      {"ann@x.org", {}, {}, "ann@x.org"},
      {"Ann Lee", {}, {}, {}},
      {"", {}, {}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.from);
    DynamicsLeadFields expected{.subject = "Hello"};
    expected.first_name = c.first;
    expected.last_name = c.last;
    expected.email = c.email;
    EXPECT_EQ(fromLineLeadFields(mailFrom(c.from, " Hello\n")), expected);
  }
  EXPECT_EQ(fromLineLeadFields(mailFrom("", " \n")), DynamicsLeadFields());
  EXPECT_EQ(fromLineLeadFields(mailFrom("", characters(301))).subject, characters(300));
}

TEST(LeadFields, ABlankAnswerNeverHidesAValue) {
  const DynamicsLeadFields lower{.subject = "S", .first_name = "Ann", .email = "ann@x.org"};
  const DynamicsLeadFields upper = decodeLeadFields(
      R"({"subject":" Better\n","first_name":null,"email":" ","notes":"Buys.","other":[1]})");
  EXPECT_EQ(mergedLeadFields(upper, lower),
            (DynamicsLeadFields{
                .subject = "Better", .first_name = "Ann", .email = "ann@x.org", .notes = "Buys."}));
  for (const char* text : {"[]", "prose", "7", R"({"telephone":7})", R"({"notes":["a"]})"}) {
    EXPECT_ANY_THROW(decodeLeadFields(text)) << text;
  }
}

const DynamicsLeadFields full{
    .subject = " Topic ",
    .first_name = "Ann",
    .last_name = "Lee",
    .company_name = "Acme",
    .email = "ann@x.org",
    .telephone = "+1 2",
    .mobile = "+3 4",
    .job_title = "Buyer",
    .website = "https://x.org",
    .address_line = "Street 1",
    .city = "Town",
    .state = "State",
    .postal_code = "123",
    .country = "Land",
    .notes = " Wants two. ",
};

TEST(LeadPayload, IsWholeForBothCRMs) {
  const ParsedMail mail = mailFrom("Ann Lee <ann@x.org>");
  const std::string description = "Summary (AI)\nWants two.\n\nFrom: Ann Lee <ann@x.org>\n\nText.";
  EXPECT_EQ(json(dynamicsLeadPayload(full, mail)), (json{{"subject", "Topic"},
                                                         {"firstname", "Ann"},
                                                         {"lastname", "Lee"},
                                                         {"companyname", "Acme"},
                                                         {"emailaddress1", "ann@x.org"},
                                                         {"telephone1", "+1 2"},
                                                         {"mobilephone", "+3 4"},
                                                         {"jobtitle", "Buyer"},
                                                         {"websiteurl", "https://x.org"},
                                                         {"address1_line1", "Street 1"},
                                                         {"address1_city", "Town"},
                                                         {"address1_stateorprovince", "State"},
                                                         {"address1_postalcode", "123"},
                                                         {"address1_country", "Land"},
                                                         {"description", description}}));
  EXPECT_EQ(json(salesforceLeadPayload(full, mail)), (json{{"LeadSource", "Halcyra"},
                                                           {"FirstName", "Ann"},
                                                           {"LastName", "Lee"},
                                                           {"Company", "Acme"},
                                                           {"Email", "ann@x.org"},
                                                           {"Phone", "+1 2"},
                                                           {"MobilePhone", "+3 4"},
                                                           {"Title", "Buyer"},
                                                           {"Website", "https://x.org"},
                                                           {"Street", "Street 1"},
                                                           {"City", "Town"},
                                                           {"PostalCode", "123"},
                                                           {"Country", "Land"},
                                                           {"State", "State"},
                                                           {"Description", description}}));
}

TEST(LeadPayload, HoldsWhatTheCRMsRequireOfAnEmptyMail) {
  const ParsedMail mail = mailFrom("x", " ");
  const DynamicsLeadFields blank{.first_name = " ", .company_name = "\n", .notes = "\t"};
  EXPECT_EQ(json(dynamicsLeadPayload(blank, mail)),
            (json{{"subject", "Lead from email"}, {"description", "From: x\n\nText."}}));
  EXPECT_EQ(json(salesforceLeadPayload(blank, mail)), (json{{"LeadSource", "Halcyra"},
                                                            {"LastName", "Unknown"},
                                                            {"Company", "Lead from email"},
                                                            {"Description", "From: x\n\nText."}}));
  EXPECT_EQ(leadTitle({}, mailFrom("x", " Hi ")), "Email: Hi");
  EXPECT_EQ(leadTitle({}, mailFrom("x", characters(201))), "Email: " + characters(200));
  EXPECT_EQ(salesforceLeadPayload({.subject = characters(300)}, mail)["Company"], characters(255));
}

TEST(LeadPayload, IsCutByCharacters) {
  DynamicsLeadFields fields{.subject = characters(301), .last_name = characters(4001)};
  fields.company_name = characters(4001);
  const ParsedMail mail = mailFrom("x", "", characters(20000));
  const LeadPayload dynamics = dynamicsLeadPayload(fields, mail);
  EXPECT_EQ(dynamics["subject"], characters(300));
  EXPECT_EQ(dynamics["lastname"], characters(4000));
  EXPECT_EQ(dynamics["companyname"], characters(4000));
  EXPECT_EQ(dynamics["description"], "From: x\n\n" + characters(12000));
  const LeadPayload salesforce = salesforceLeadPayload(fields, mail);
  EXPECT_EQ(salesforce["LastName"], characters(4000));
  EXPECT_EQ(salesforce["Company"], characters(255));

  fields.notes = characters(120000);
  const std::string summary = "Summary (AI)\n";
  EXPECT_EQ(dynamicsLeadPayload(fields, mail)["description"],
            summary + characters(100000 - summary.size()));
  EXPECT_EQ(salesforceLeadPayload(fields, mail)["Description"],
            summary + characters(32000 - summary.size()));
}

}  // namespace
}  // namespace halcyra

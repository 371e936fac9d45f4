#include <gtest/gtest.h>

#include "crm/DataverseClient.h"
#include "crm/LeadPayload.h"
#include "crm/SalesforceLeads.h"
#include "platform/ProviderError.h"
#include "support/RunTask.h"
#include "support/ScriptedHttp.h"

namespace halcyra {
namespace {

constexpr const char* token = "to/ken";

ParsedMail enquiry() {
  ParsedMail mail;
  mail.from = "Ann <ann@x.org>";
  mail.subject = "Price?";
  return mail;
}

/// Creates a lead at an address and gives its id, or "{domain} {code}: {description}".
using Create = std::string (*)(ScriptedHttp& http, const std::string& address);

template <class Creation>
std::string told(Creation creation) {
  try {
    return runTask(creation());
  } catch (const ProviderError& error) {
    return error.domain() + " " + std::to_string(error.code()) + ": " + error.what();
  } catch (const HttpError& error) {
    return std::string("HttpError: ") + error.what();
  }
}

std::string createAtDynamics(ScriptedHttp& http, const std::string& address) {
  DataverseClient client(http, {});
  return told([&] { return client.createDynamicsLead(token, address, {}, enquiry()); });
}

std::string createAtSalesforce(ScriptedHttp& http, const std::string& address) {
  SalesforceLeads client(http);
  return told([&] { return client.createSalesforceLead({token, address}, {}, enquiry()); });
}

TEST(LeadClients, SendTheLeadOnceToTheAddressGiven) {
  ScriptedHttp http;
  http.answer(201, R"({"leadid":"d-1"})").answer(201, R"({"id":"s-1","success":true})");
  EXPECT_EQ(createAtDynamics(http, " https://org.example//\n"), "d-1");
  EXPECT_EQ(createAtSalesforce(http, " https://eu1.example/ "), "s-1");
  using Headers = std::vector<HttpHeader>;
  EXPECT_EQ(http.requests[0].method, "POST");
  EXPECT_EQ(http.requests[0].url, "https://org.example/api/data/v9.2/leads");
  EXPECT_EQ(http.requests[0].headers, (Headers{{"Authorization", "Bearer to/ken"},
                                               {"Content-Type", "application/json"},
                                               {"Accept", "application/json"},
                                               {"OData-MaxVersion", "4.0"},
                                               {"OData-Version", "4.0"},
                                               {"Prefer", "return=representation"}}));
  EXPECT_EQ(http.requests[0].body, leadText(dynamicsLeadPayload({}, enquiry())));
  EXPECT_EQ(http.requests[1].method, "POST");
  EXPECT_EQ(http.requests[1].url, "https://eu1.example/services/data/v59.0/sobjects/Lead/");
  EXPECT_EQ(http.requests[1].headers,
            (Headers{{"Authorization", "Bearer to/ken"}, {"Content-Type", "application/json"}}));
  EXPECT_EQ(http.requests[1].body, leadText(salesforceLeadPayload({}, enquiry())));
  for (const HttpRequest& request : http.requests) {
    EXPECT_EQ(request.timeout, std::chrono::seconds(60));
    EXPECT_TRUE(request.statusSuffices && !request.lossIsTold);
  }
}

TEST(LeadClients, AddressesOfAllKinds) {
  struct Case {
    Create create;
    const char* address;
    std::string url;  // or the failure
  };
  const std::string leads = "/api/data/v9.2/leads";
  const std::string invalid = "Dataverse 2: Invalid environment URL";
  const std::string hostile =
      "Salesforce 2: Salesforce named an instance URL that is not a plain https address; sign in "
      "to "
      "Salesforce again.";
  const std::string endless = "https://x.example/" + std::string(2048, 'a');
  const Case cases[] = {
      {createAtDynamics, "https://o.example/app", "https://o.example/app" + leads},
      {createAtDynamics, "https://o.example/app/?a=1", "https://o.example/app" + leads + "?a=1"},
      {createAtDynamics, "http://o.example:81", "http://o.example:81" + leads},
      {createAtDynamics, "o.example", invalid},
      {createAtDynamics, "ftp://o.example", invalid},
      {createAtDynamics, "https://", invalid},
      {createAtDynamics, "https://o .example", invalid},
      {createAtDynamics, "https://o.example/a b", invalid},
      {createAtDynamics, " / ", invalid},
      {createAtSalesforce, "HTTPS://x.example",
       "HTTPS://x.example/services/data/v59.0/sobjects/Lead/"},
      {createAtSalesforce, "http://127.0.0.1:1/",
       "http://127.0.0.1:1/services/data/v59.0/sobjects/Lead/"},
      {createAtSalesforce, "https://x.example:8443/a",
       "https://x.example:8443/a/services/data/v59.0/sobjects/Lead/"},
      {createAtSalesforce, "http://x.example", hostile},
      {createAtSalesforce, "https://x.example/a?b", hostile},
      {createAtSalesforce, "https://x.example#b", hostile},
      {createAtSalesforce, "https://u:p@x.example", hostile},
      {createAtSalesforce, "https://x.example/\r\nX: y", hostile},
      {createAtSalesforce, "https://x.example/é", hostile},
      {createAtSalesforce, endless.c_str(), hostile},
      {createAtSalesforce, "http://localhost:80@x.example", hostile},
      {createAtSalesforce, "httpsx://x.example", hostile},
      {createAtSalesforce, "x.example", hostile},
      {createAtSalesforce, " ", hostile},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.address);
    ScriptedHttp http;
    http.answer(204, "");
    const std::string result = c.create(http, c.address);
    EXPECT_EQ(http.requests.empty() ? result : http.requests[0].url, c.url);
    EXPECT_EQ(result == "(created)", !http.requests.empty());
  }
}

TEST(LeadClients, ASuccessWithoutAnIdIsASuccess) {
  for (const char* body : {"", "<html>", "[]", "null", "7", R"({"leadid":7,"id":null})",
                           R"([{"leadid":"a","id":"a"}])", "{}"}) {
    SCOPED_TRACE(body);
    ScriptedHttp http;
    http.answer(299, body).answer(200, body);
    EXPECT_EQ(createAtDynamics(http, "https://o.example"), "(created)");
    EXPECT_EQ(createAtSalesforce(http, "https://o.example"), "(created)");
  }
}

TEST(LeadClients, ARefusalIsToldInTheServersWords) {
  struct Case {
    int status;
    const char* body;
    std::string dynamics, salesforce;  // the description
  };
  const Case cases[] = {
      {400, R"([{"message":" Bad e-mail ","errorCode":"INVALID"},{"message":"Second"}])",
       R"([{"message":" Bad e-mail ","errorCode":"INVALID"},{"message":"Second"}])",
       "Bad e-mail (INVALID)"},
      {401, R"({"message":"Expired"})", R"({"message":"Expired"})", "Expired"},
      {403, R"([{"message":" ","errorCode":"NO"}])", R"([{"message":" ","errorCode":"NO"}])", "NO"},
      {404, R"([{"message":7}])", R"([{"message":7}])", R"([{"message":7}])"},
      {500, "[]", "[]", "[]"},
      {502, "Bad gateway", "Bad gateway", "Bad gateway"},
      {503, "", "HTTP 503", "HTTP 503"},
      {302, "\xFF", "HTTP 302", "HTTP 302"},
      {400, R"([{"message":"to/ken to\/ken to\u002fken"}])", R"([{"message":"*** *** ***"}])",
       "*** *** ***"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.body);
    ScriptedHttp http;
    http.answer(c.status, c.body).answer(c.status, c.body);
    const std::string code = " " + std::to_string(c.status) + ": ";
    EXPECT_EQ(createAtDynamics(http, "https://o.example"), "Dataverse" + code + c.dynamics);
    EXPECT_EQ(createAtSalesforce(http, "https://o.example"), "Salesforce" + code + c.salesforce);
  }
  ScriptedHttp broken;
  for (int i = 0; i < 2; ++i) broken.fail({HttpError::Kind::notHTTP, "x"});
  for (int i = 0; i < 2; ++i) broken.fail({HttpError::Kind::transport, "cut"});
  EXPECT_EQ(createAtDynamics(broken, "https://o"), "Dataverse -1: Not an HTTP response");
  EXPECT_EQ(createAtSalesforce(broken, "https://o"), "Salesforce -1: Not an HTTP response");
  EXPECT_EQ(createAtDynamics(broken, "https://o"), "HttpError: cut");
  EXPECT_EQ(createAtSalesforce(broken, "https://o"), "HttpError: cut");
  EXPECT_EQ(broken.requests.size(), 4u);  // nothing is tried again
}

}  // namespace
}  // namespace halcyra

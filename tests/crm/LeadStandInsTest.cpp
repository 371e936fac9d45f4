// The stand-ins refuse what the real services refuse, and take what the clients send.

#include <gtest/gtest.h>

#include "crm/DataverseClient.h"
#include "crm/SalesforceLeads.h"
#include "platform/linux/CurlHttpClient.h"
#include "sandbox/ProviderServers.h"
#include "support/RunTask.h"
#include "text/Json.h"

namespace halcyra {
namespace {

using nlohmann::json;
using sandbox::DataverseStandIn;

HttpResponse post(std::string url, const std::string& token, const json& body,
                  std::vector<HttpHeader> headers) {
  CurlHttpClient http;
  HttpRequest request;
  request.method = "POST";
  request.url = std::move(url);
  request.headers = std::move(headers);
  request.headers.push_back({"Content-Type", "application/json"});
  request.headers.push_back({"Authorization", "Bearer " + token});
  request.body = body.dump();
  return runTask(http.perform(std::move(request)));
}

TEST(LeadStandIns, TakeWhatTheClientsSend) {
  sandbox::ProviderServers servers;
  CurlHttpClient http;
  ParsedMail mail;
  mail.from = "Ann Lee <ann@x.org>";
  mail.bodyText = "How much?";
  const DynamicsLeadFields fields = fromLineLeadFields(mail);
  Endpoints endpoints;
  endpoints.dataverse = servers.dataverseServer.baseURL();
  DataverseClient dynamics(http, endpoints);
  const std::string token = servers.microsoft.signInTo(DataverseStandIn::environment).accessToken;
  const auto create = [&] {
    return runTask(dynamics.createDynamicsLead(token, DataverseStandIn::environment, fields, mail));
  };
  const std::string created = create();
  EXPECT_EQ(created, servers.dataverse.leads().at(0)["leadid"]);
  servers.dataverse.answerWithoutRecord();
  EXPECT_EQ(create(), "(created)");
  SalesforceLeads salesforce(http);
  const std::string id = runTask(salesforce.createSalesforceLead(
      {servers.salesforce.signIn().accessToken, servers.salesforceServer.baseURL()}, fields, mail));
  EXPECT_EQ(id, servers.salesforce.leads().at(0)["id"]);
}

TEST(LeadStandIns, DataverseRefusesWhatIsNoLead) {
  sandbox::ProviderServers servers;
  const std::string url = servers.dataverseServer.baseURL() + "/api/data/v9.2/leads";
  const std::vector<HttpHeader> odata = {
      {"OData-Version", "4.0"}, {"OData-MaxVersion", "4.0"}, {"Accept", "application/json"}};
  const std::string token = servers.microsoft.signInTo(DataverseStandIn::environment).accessToken;
  const std::pair<json, const char*> cases[] = {
      {{{"subject", "S"}, {"company", "x"}}, "0x80048d19"},
      {{{"subject", 5}}, "0x80048d19"},
      {{{"subject", "S"}, {"firstname", std::string(51, 'x')}}, "0x80044331"},
      {{{"subject", ""}}, "0x80040203"},
      {{{"firstname", "Ann"}}, "0x80040203"},
      {json::array(), "0x80048d19"},
  };
  for (const auto& [body, code] : cases) {
    const HttpResponse refused = post(url, token, body, odata);
    EXPECT_EQ(refused.status, 400) << body;
    EXPECT_EQ(parseJson(refused.body)["error"]["code"], code) << body;
  }
  const json lead = {{"subject", "S"}};
  EXPECT_EQ(post(url, token, lead, {{"OData-Version", "4.0"}}).status, 400);
  for (const std::string& wrong :
       {std::string("no"), servers.microsoft.signIn().accessToken,
        servers.microsoft.signInTo("https://other.crm.example").accessToken}) {
    EXPECT_EQ(post(url, wrong, lead, odata).status, 401);
  }
  EXPECT_TRUE(servers.dataverse.leads().empty());
  EXPECT_EQ(post(url, token, lead, odata).status, 204);  // without the preference
}

TEST(LeadStandIns, SalesforceRefusesWhatIsNoLead) {
  sandbox::ProviderServers servers;
  const std::string url =
      servers.salesforceServer.baseURL() + "/services/data/v59.0/sobjects/Lead/";
  const std::string token = servers.salesforce.signIn().accessToken;
  const auto with = [](const char* key, std::string value) {
    json lead = {{"LastName", "Lee"}, {"Company", "Acme"}};
    lead[key] = std::move(value);
    return lead;
  };
  const std::pair<json, const char*> cases[] = {
      {{{"LastName", "Lee"}}, "REQUIRED_FIELD_MISSING"},
      {with("Company", " "), "REQUIRED_FIELD_MISSING"},
      {with("Email", "ann@x"), "INVALID_EMAIL_ADDRESS"},
      {with("Email", "Ann <ann@x.org>"), "INVALID_EMAIL_ADDRESS"},
      {with("Colour", "red"), "INVALID_FIELD"},
      {with("Company", std::string(256, 'x')), "STRING_TOO_LONG"},
      {"text", "JSON_PARSER_ERROR"},
  };
  for (const auto& [body, code] : cases) {
    const HttpResponse refused = post(url, token, body, {});
    EXPECT_EQ(refused.status, 400) << body;
    EXPECT_EQ(parseJson(refused.body).at(0)["errorCode"], code) << body;
  }
  EXPECT_EQ(post(url, "no", with("City", "Bath"), {}).status, 401);
  servers.salesforce.revokeTokens();
  EXPECT_EQ(post(url, token, with("City", "Bath"), {}).status, 401);
  EXPECT_TRUE(servers.salesforce.leads().empty());
}

}  // namespace
}  // namespace halcyra

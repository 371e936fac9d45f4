#pragma once

#include "sandbox/DataverseStandIn.h"
#include "sandbox/GoogleStandIn.h"
#include "sandbox/LoopbackHttpServer.h"
#include "sandbox/MicrosoftStandIn.h"
#include "sandbox/ProgramHome.h"
#include "sandbox/SalesforceStandIn.h"

namespace halcyra::sandbox {

/// Google, Microsoft, its Dataverse and Salesforce on loopback ports, one person's account at each.
class ProviderServers {
 public:
  explicit ProviderServers(GoogleAccount googleAccount = {}, MicrosoftAccount microsoftAccount = {},
                           SalesforceAccount salesforceAccount = {})
      : google(googleAccount),
        microsoft(microsoftAccount),
        salesforce(salesforceAccount),
        access_{.googleClientId = googleAccount.clientId,
                .microsoftClientId = microsoftAccount.clientId,
                .salesforceClientId = salesforceAccount.clientId,
                .googleClientSecret = googleAccount.clientSecret,
                .salesforceClientSecret = salesforceAccount.clientSecret} {
    access_.googleURL = googleServer.baseURL();
    access_.microsoftURL = microsoftServer.baseURL();
    access_.dataverseURL = dataverseServer.baseURL();
    access_.salesforceURL = salesforceServer.baseURL();
  }

  /// What a home needs to know to reach them.
  const ProviderAccess& access() const { return access_; }

  GoogleStandIn google;
  MicrosoftStandIn microsoft;
  DataverseStandIn dataverse{
      [this](const std::string& token) { return microsoft.scopeOfToken(token); }};
  SalesforceStandIn salesforce;
  LoopbackHttpServer googleServer{[this](const ServedRequest& request) { return google(request); }};
  LoopbackHttpServer microsoftServer{
      [this](const ServedRequest& request) { return microsoft(request); }};
  LoopbackHttpServer dataverseServer{
      [this](const ServedRequest& request) { return dataverse(request); }};
  LoopbackHttpServer salesforceServer{
      [this](const ServedRequest& request) { return salesforce(request); }};

 private:
  ProviderAccess access_;
};

}  // namespace halcyra::sandbox

#pragma once

#include "sandbox/GoogleStandIn.h"
#include "sandbox/LoopbackHttpServer.h"
#include "sandbox/MicrosoftStandIn.h"
#include "sandbox/ProgramHome.h"

namespace halcyra::sandbox {

/// Google and Microsoft on loopback ports, one person's account at each.
class ProviderServers {
 public:
  explicit ProviderServers(GoogleAccount googleAccount = {}, MicrosoftAccount microsoftAccount = {})
      : google(googleAccount),
        microsoft(microsoftAccount),
        access_{"", googleAccount.clientId, "", microsoftAccount.clientId} {
    access_.googleURL = googleServer.baseURL();
    access_.microsoftURL = microsoftServer.baseURL();
  }

  /// What a home needs to know to reach them.
  const ProviderAccess& access() const { return access_; }

  GoogleStandIn google;
  MicrosoftStandIn microsoft;
  LoopbackHttpServer googleServer{[this](const ServedRequest& request) { return google(request); }};
  LoopbackHttpServer microsoftServer{
      [this](const ServedRequest& request) { return microsoft(request); }};

 private:
  ProviderAccess access_;
};

}  // namespace halcyra::sandbox

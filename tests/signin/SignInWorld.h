#pragma once

#include <string>

#include "config/KeychainHelper.h"
#include "signin/AccessTokens.h"
#include "support/ManualClock.h"
#include "support/MemoryKeychain.h"
#include "support/ScriptedHttp.h"

namespace halcyra {

/// A request as it goes over the wire.
inline std::string wire(const HttpRequest& request) {
  std::string text = request.method + " " + request.url + "\n";
  for (const HttpHeader& header : request.headers) text += header.name + ": " + header.value + "\n";
  return text + "\n" + request.body;
}

inline constexpr const char* microsoftScopes =
    "offline_access%20openid%20profile%20User.Read%20Mail.ReadWrite%20Mail.Send%20Calendars.Read";

inline std::string tokenPost(const std::string& url, const std::string& body) {
  return "POST " + url + "\nContent-Type: application/x-www-form-urlencoded\n\n" + body;
}

inline std::string googlePost(const std::string& body) {
  return tokenPost("https://oauth2.googleapis.com/token", body);
}

inline std::string microsoftPost(const std::string& body) {
  return tokenPost("https://login.microsoftonline.com/common/oauth2/v2.0/token", body);
}

/// Clients, store and getters over a scripted transport and a clock turned by hand.
struct SignInWorld {
  explicit SignInWorld(BuildValues values = {{"HalcyraGoogleOAuthClientId", "g-id"},
                                             {"HalcyraMicrosoftOAuthClientId", "m-id"}})
      : secrets(storage, values),
        google(http, clock, {}, secrets.buildSetting("HalcyraGoogleOAuthClientSecret")) {}

  TimePoint in(int seconds) const { return clock.now() + std::chrono::seconds(seconds); }

  std::string stored(const std::string& accountId) {
    return storage.readSecret("oauth.credential." + accountId).value_or("none");
  }

  MemoryKeychain keychain;
  KeychainEnvelopeStorage storage{keychain};
  KeychainHelper secrets;
  ScriptedHttp http;
  ManualClock clock;
  OAuthCredentialStore store{secrets};
  GoogleOAuthClient google;
  MicrosoftOAuthClient microsoft{http, clock, {}};
  AccessTokens tokens{secrets, store, google, microsoft, clock};
};

}  // namespace halcyra

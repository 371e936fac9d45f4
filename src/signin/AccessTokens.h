#pragma once

#include <optional>
#include <string>

#include "config/AppConfig.h"
#include "config/KeychainHelper.h"
#include "platform/Clock.h"
#include "platform/Task.h"
#include "signin/GoogleOAuthClient.h"
#include "signin/MicrosoftOAuthClient.h"
#include "signin/OAuthCredentialStore.h"

namespace halcyra {

/// Keeps an unexpired access token at hand for each signed-in mailbox. A token within 120 seconds
/// of its expiry is refreshed and stored; a failed refresh leaves the stored credential as it is.
/// Two refreshes of one token may run at once, and the later result wins.
///
/// The getters throw ProviderError of the domain "OAuth" when nobody is signed in (code 1), the
/// session cannot be refreshed (2), there is no Microsoft client id (3) or no environment (4), and
/// what the provider's client and the store throw. Any executor may await them.
class AccessTokens {
 public:
  /// Everything must outlive the object, and the object its operations. `blocking`, where there is
  /// one, runs the writing of a refreshed credential, which may wait for the keychain.
  AccessTokens(KeychainHelper& secrets, OAuthCredentialStore& credentials,
               GoogleOAuthClient& google, MicrosoftOAuthClient& microsoft, const Clock& clock,
               Executor blocking = {});

  Task<std::string> validGoogleAccessToken(std::string accountId);

  /// For Graph. `config` need only live during the call itself.
  Task<std::string> validMicrosoftAccessToken(const AppConfig& config, std::string accountId);

  /// For one Dataverse environment, with the Microsoft sign-in of a mailbox. `config` need only
  /// live during the call itself.
  Task<std::string> validDataverseAccessToken(const AppConfig& config, std::string accountId,
                                              const std::string& environmentURL);

 private:
  struct DataverseOrder;

  Task<std::string> microsoftToken(std::string clientId, std::string accountId);
  Task<std::string> dataverseToken(DataverseOrder order);
  Task<void> save(OAuthStoredCredential credential, std::string accountId);
  OAuthStoredCredential requireCredential(const std::string& accountId,
                                          const std::string& provider);
  bool isFresh(const std::optional<TimePoint>& expiresAt) const;

  KeychainHelper& secrets_;
  OAuthCredentialStore& credentials_;
  GoogleOAuthClient& google_;
  MicrosoftOAuthClient& microsoft_;
  const Clock& clock_;
  Executor blocking_;
};

}  // namespace halcyra

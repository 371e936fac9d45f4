#pragma once

#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>

#include "config/AppConfig.h"
#include "config/KeychainHelper.h"
#include "signin/GoogleOAuthClient.h"
#include "signin/MicrosoftOAuthClient.h"
#include "signin/OAuthCredentialStore.h"
#include "signin/OAuthWebSession.h"

namespace halcyra {

/// A sign-in that cannot begin with this build. `what()` is the text for the user.
class SignInError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a sign-in works with. All of it must outlive the sign-ins.
struct SignInServices {
  OAuthWebSession& browser;
  OAuthCredentialStore& credentials;
  KeychainHelper& secrets;
  GoogleOAuthClient& google;
  MicrosoftOAuthClient& microsoft;
};

/// Signs a mailbox in from beginning to end: browser, code, tokens, store. Gives the address of the
/// provider's account, never empty, for the mailbox's label; nothing when it could not be learned,
/// which does not undo the sign-in. A failure leaves what was stored before.
///
/// Both throw SignInError, OAuthFlowError, ProviderError, HttpError, KeychainError and what the
/// decoder of a response throws. They are awaited on the browser session's executor.
class MailboxSignIn {
 public:
  explicit MailboxSignIn(SignInServices services) : services_(services) {}

  Task<std::optional<std::string>> signInGoogle(std::string accountId, AnnounceAddress announce,
                                                std::stop_token stop);

  /// `config` need only live during the call itself.
  Task<std::optional<std::string>> signInMicrosoft(const AppConfig& config, std::string accountId,
                                                   AnnounceAddress announce, std::stop_token stop);

 private:
  Task<std::optional<std::string>> signInMicrosoftWith(std::string clientId, std::string accountId,
                                                       AnnounceAddress announce,
                                                       std::stop_token stop);

  SignInServices services_;
};

}  // namespace halcyra

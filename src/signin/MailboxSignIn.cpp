#include "signin/MailboxSignIn.h"

#include <utility>

#include "signin/OAuthRedirect.h"
#include "signin/PKCE.h"

namespace halcyra {
namespace {

std::string requireClientId(std::string clientId, const std::string& failure) {
  if (clientId.empty()) throw SignInError(failure);
  return clientId;
}

std::string requireURL(std::optional<std::string> url, const std::string& provider) {
  if (!url) throw SignInError("Could not build " + provider + " sign-in URL.");
  return std::move(*url);
}

std::optional<std::string> unlessEmpty(std::optional<std::string> text) {
  return text && text->empty() ? std::nullopt : std::move(text);
}

}  // namespace

Task<std::optional<std::string>> MailboxSignIn::signInGoogle(std::string accountId,
                                                             AnnounceAddress announce,
                                                             std::stop_token stop) {
  const std::string clientId =
      requireClientId(services_.secrets.buildSetting("HalcyraGoogleOAuthClientId"),
                      "Google OAuth client ID is not set in this build. Add "
                      "HALCYRA_GOOGLE_OAUTH_CLIENT_ID to Secrets.xcconfig and rebuild.");
  const std::string verifier = makeCodeVerifier();
  const std::string url = requireURL(
      services_.google.buildGoogleAuthorizationURL(clientId, codeChallenge(verifier)), "Google");
  Task<std::string> asking = services_.browser.runBrowserSignIn(url, std::move(announce), stop);
  const std::string redirectURL = co_await std::move(asking);
  Task<OAuthStoredCredential> exchange =
      services_.google.exchangeGoogleCode(clientId, authorizationCode(redirectURL), verifier);
  const OAuthStoredCredential credential = co_await std::move(exchange);
  requireNotStopped(stop);
  services_.credentials.saveCredential(credential, accountId);
  Task<std::optional<std::string>> lookUp =
      services_.google.fetchGoogleEmail(credential.accessToken);
  std::optional<std::string> email = co_await std::move(lookUp);
  co_return unlessEmpty(std::move(email));
}

Task<std::optional<std::string>> MailboxSignIn::signInMicrosoft(const AppConfig& config,
                                                                std::string accountId,
                                                                AnnounceAddress announce,
                                                                std::stop_token stop) {
  return signInMicrosoftWith(services_.secrets.resolvedMicrosoftClientId(config),
                             std::move(accountId), std::move(announce), std::move(stop));
}

Task<std::optional<std::string>> MailboxSignIn::signInMicrosoftWith(std::string clientId,
                                                                    std::string accountId,
                                                                    AnnounceAddress announce,
                                                                    std::stop_token stop) {
  clientId = requireClientId(std::move(clientId),
                             "Microsoft Entra client ID is not set in this build. Add "
                             "HALCYRA_MICROSOFT_OAUTH_CLIENT_ID to Secrets.xcconfig and rebuild.");
  const std::string verifier = makeCodeVerifier();
  const std::string url = requireURL(
      services_.microsoft.buildMicrosoftAuthorizationURL(clientId, codeChallenge(verifier)),
      "Microsoft");
  Task<std::string> asking = services_.browser.runBrowserSignIn(url, std::move(announce), stop);
  const std::string redirectURL = co_await std::move(asking);
  Task<OAuthStoredCredential> exchange =
      services_.microsoft.exchangeMicrosoftCode(clientId, authorizationCode(redirectURL), verifier);
  const OAuthStoredCredential credential = co_await std::move(exchange);
  requireNotStopped(stop);
  services_.credentials.saveCredential(credential, accountId);
  Task<std::optional<std::string>> lookUp =
      services_.microsoft.fetchMicrosoftEmail(credential.accessToken);
  std::optional<std::string> email = co_await std::move(lookUp);
  co_return unlessEmpty(std::move(email));
}

}  // namespace halcyra

#include "signin/OAuthFlowError.h"

#include "signin/OAuthRedirect.h"

namespace halcyra {

OAuthFlowError OAuthFlowError::providerError(std::string_view text) {
  return {Kind::providerError, std::string(text)};
}

OAuthFlowError OAuthFlowError::loopbackListenFailed(std::string_view reason) {
  return {Kind::loopbackListenFailed,
          "Could not listen on localhost:18876 (" + std::string(reason) +
              "). Quit other copies of this app, try again in a few seconds, or free port 18876. "
              "Azure/Google redirect URI must stay " +
              redirectURI + "."};
}

OAuthFlowError OAuthFlowError::noCallback() {
  return {Kind::noCallback, "Sign-in was cancelled or returned no callback."};
}

OAuthFlowError OAuthFlowError::sessionStartFailed() {
  return {Kind::sessionStartFailed, "Could not start the sign-in session."};
}

OAuthFlowError OAuthFlowError::noAuthCode() {
  return {Kind::noAuthCode, "No authorization code in callback."};
}

OAuthFlowError OAuthFlowError::signInAlreadyInProgress() {
  return {Kind::signInAlreadyInProgress,
          "A sign-in is already running. Finish or cancel it before starting another."};
}

}  // namespace halcyra

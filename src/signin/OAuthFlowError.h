#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace halcyra {

/// A sign-in in the browser that brought no authorization code. `what()` is the text for the user.
class OAuthFlowError : public std::runtime_error {
 public:
  enum class Kind {
    providerError,
    loopbackListenFailed,
    noCallback,
    sessionStartFailed,
    noAuthCode,
    signInAlreadyInProgress,
  };

  /// The provider's own words.
  static OAuthFlowError providerError(std::string_view text);
  static OAuthFlowError loopbackListenFailed(std::string_view reason);
  static OAuthFlowError noCallback();
  static OAuthFlowError sessionStartFailed();
  static OAuthFlowError noAuthCode();
  static OAuthFlowError signInAlreadyInProgress();

  Kind kind() const { return kind_; }

 private:
  OAuthFlowError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}

  Kind kind_;
};

}  // namespace halcyra

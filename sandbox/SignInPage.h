#pragma once

#include <string>

#include "sandbox/Routes.h"
#include "sandbox/TokenIssuer.h"

namespace halcyra::sandbox {

struct SignInPage {
  /// "Google", as its title names it.
  std::string provider;
  /// The address of the only person that has an account.
  std::string account;
  std::string clientId;
};

/// Answers the address where a person signs in (RFC 6749, section 4.1.1, and RFC 7636): a page with
/// the links #allow and #deny, which send the browser back with a code or an error. A request that
/// a provider would not show to a person gets an error page, status 400. With autoclick=allow or
/// autoclick=deny the page clicks that link itself. `offline` says whether the grant comes with a
/// refresh token.
HttpResponse signInAnswer(const SignInPage& page, const ServedRequest& request,
                          const RequestTarget& target, bool offline, TokenIssuer& issuer);

}  // namespace halcyra::sandbox

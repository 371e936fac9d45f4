#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace halcyra::sandbox {

/// What a person allowed.
struct Grant {
  std::string clientId;
  std::string redirectURI;
  std::string challenge;
  std::string scope;
  /// Comes with a refresh token.
  bool offline = true;
};

struct IssuedTokens {
  std::string accessToken;
  std::optional<std::string> refreshToken;
  std::string scope;
};

/// Authorization codes and tokens of one person at one provider (RFC 6749). Not safe for several
/// threads.
class TokenIssuer {
 public:
  enum class Refreshing { keepsToken, rotatesToken };
  enum class Standing { valid, expired, unknown };

  static constexpr std::chrono::seconds lifetime{3599};

  TokenIssuer(std::string prefix, Refreshing refreshing)
      : prefix_(std::move(prefix)), refreshing_(refreshing) {}

  std::string issueCode(Grant grant);

  /// Tokens without a code.
  IssuedTokens issueTokens(const Grant& grant);

  /// A code is good once, for the client, address and verifier it was made for. Nothing for any
  /// other.
  std::optional<IssuedTokens> redeem(const std::string& code, const std::string& clientId,
                                     const std::string& redirectURI, const std::string& verifier);

  /// Without a scope, that of the grant. Nothing for a refresh token that is not in force.
  std::optional<IssuedTokens> refresh(const std::string& refreshToken, const std::string& clientId,
                                      const std::string& scope);

  Standing standing(const std::string& accessToken) const;

  /// Of a token that was issued.
  std::string scopeOf(const std::string& accessToken) const;

  void expireAccessTokens();
  /// Refresh tokens are refused, access tokens are expired.
  void revokeAll();
  /// Later answers come without one.
  void withholdRefreshTokens() { withholds_ = true; }

 private:
  struct Access {
    std::string scope;
    std::chrono::steady_clock::time_point expires;
  };

  std::string newText(const char* kind) const;
  IssuedTokens newAccess(const std::string& scope);

  const std::string prefix_;
  const Refreshing refreshing_;
  bool withholds_ = false;
  std::map<std::string, Grant> codes_;
  std::map<std::string, Grant> refreshes_;
  std::map<std::string, Access> accesses_;
};

}  // namespace halcyra::sandbox

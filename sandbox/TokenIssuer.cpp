#include "sandbox/TokenIssuer.h"

#include "sandbox/Pkce.h"
#include "text/Uuid.h"

namespace halcyra::sandbox {

std::string TokenIssuer::newText(const char* kind) const {
  return prefix_ + kind + newUuid();
}

std::string TokenIssuer::issueCode(Grant grant) {
  // A slash, as real ones have: it must survive the address and the form.
  std::string code = newText("code/");
  codes_[code] = std::move(grant);
  return code;
}

IssuedTokens TokenIssuer::newAccess(const std::string& scope) {
  IssuedTokens tokens{newText("access-"), std::nullopt, scope};
  accesses_[tokens.accessToken] = {scope, std::chrono::steady_clock::now() + lifetime};
  return tokens;
}

IssuedTokens TokenIssuer::issueTokens(const Grant& grant) {
  IssuedTokens tokens = newAccess(grant.scope);
  if (grant.offline && !withholds_) {
    tokens.refreshToken = newText("refresh/");
    refreshes_[*tokens.refreshToken] = grant;
  }
  return tokens;
}

std::optional<IssuedTokens> TokenIssuer::redeem(const std::string& code,
                                                const std::string& clientId,
                                                const std::string& redirectURI,
                                                const std::string& verifier) {
  const auto used = codes_.extract(code);
  if (used.empty()) return std::nullopt;
  const Grant& grant = used.mapped();
  if (grant.clientId != clientId || grant.redirectURI != redirectURI) return std::nullopt;
  if (!verifierFits(verifier, grant.challenge)) return std::nullopt;
  return issueTokens(grant);
}

std::optional<IssuedTokens> TokenIssuer::refresh(const std::string& refreshToken,
                                                 const std::string& clientId,
                                                 const std::string& scope) {
  const auto found = refreshes_.find(refreshToken);
  if (found == refreshes_.end() || found->second.clientId != clientId) return std::nullopt;
  const Grant grant = found->second;
  IssuedTokens tokens = newAccess(scope.empty() ? grant.scope : scope);
  if (refreshing_ == Refreshing::rotatesToken && !withholds_) {
    refreshes_.erase(found);
    tokens.refreshToken = newText("refresh/");
    refreshes_[*tokens.refreshToken] = grant;
  }
  return tokens;
}

TokenIssuer::Standing TokenIssuer::standing(const std::string& accessToken) const {
  const auto found = accesses_.find(accessToken);
  if (found == accesses_.end()) return Standing::unknown;
  const bool isOver = found->second.expires <= std::chrono::steady_clock::now();
  return isOver ? Standing::expired : Standing::valid;
}

std::string TokenIssuer::scopeOf(const std::string& accessToken) const {
  return accesses_.at(accessToken).scope;
}

void TokenIssuer::expireAccessTokens() {
  for (auto& [token, access] : accesses_) access.expires = {};
}

void TokenIssuer::revokeAll() {
  expireAccessTokens();
  refreshes_.clear();
}

}  // namespace halcyra::sandbox

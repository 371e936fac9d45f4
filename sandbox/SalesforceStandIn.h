#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sandbox/StandIn.h"
#include "sandbox/TokenIssuer.h"
#include "text/Json.h"

namespace halcyra::sandbox {

struct SalesforceAccount {
  std::string user = "person@alder.example";
  std::string clientId = "sandbox-salesforce-client";
  /// The token endpoint asks for it, unless empty.
  std::string clientSecret = {};
};

/// Answers like Salesforce for one person: login page, tokens, and the leads of the REST API, all
/// below one base URL, which it also names as the instance. As with the real service, answers tell
/// no lifetime of a token. What the real service refuses is refused with the same kind of error.
/// Safe to call from any thread. Kinds of requests: page, token, lead.
class SalesforceStandIn : public StandIn {
 public:
  explicit SalesforceStandIn(SalesforceAccount account = {});

  HttpResponse operator()(const ServedRequest& request);

  /// Tokens with all scopes, without a browser.
  IssuedTokens signIn();
  void revokeTokens();

  /// Later token answers name this instance; none when it is empty.
  void nameInstance(std::string url);

  /// The records, oldest first, each with its `id`.
  std::vector<nlohmann::json> leads() const;

 private:
  HttpResponse showPage(const ServedRequest& request, const RequestTarget& target);
  HttpResponse giveToken(const ServedRequest& request, const RequestTarget& target);
  HttpResponse createLead(const ServedRequest& request, const RequestTarget& target);

  static std::span<const Route<SalesforceStandIn>> routes();
  bool holdsValidToken(const ServedRequest& request) const;
  nlohmann::json tokenJson(const ServedRequest& request, const IssuedTokens& tokens) const;

  const SalesforceAccount account_;
  TokenIssuer tokens_{"00D", TokenIssuer::Refreshing::keepsToken};
  std::optional<std::string> namedInstance_;
  std::vector<nlohmann::json> leads_;
};

}  // namespace halcyra::sandbox

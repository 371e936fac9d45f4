#include "sandbox/SalesforceStandIn.h"

#include <ctime>

#include "sandbox/JsonAnswer.h"
#include "sandbox/LeadAttributes.h"
#include "sandbox/SignInPage.h"
#include "text/Trim.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

constexpr LeadAttribute attributes[] = {
    {"LeadSource", 40}, {"FirstName", 40}, {"LastName", 80},       {"Company", 255},
    {"Email", 80},      {"Phone", 40},     {"MobilePhone", 40},    {"Title", 128},
    {"Website", 255},   {"Street", 255},   {"City", 40},           {"PostalCode", 20},
    {"Country", 80},    {"State", 80},     {"Description", 32000},
};

HttpResponse apiError(int status, const char* code, const std::string& message,
                      const std::vector<std::string>& fields = {}) {
  json error = {{"message", message}, {"errorCode", code}};
  if (!fields.empty()) error["fields"] = fields;
  return jsonAnswer(status, json::array({error}));
}

HttpResponse refusal(const LeadFault& fault) {
  switch (fault.kind) {
    case LeadFault::Kind::unknown:
      return apiError(400, "INVALID_FIELD",
                      "No such column '" + fault.name + "' on sobject of type Lead");
    case LeadFault::Kind::wrongType:
      return apiError(400, "JSON_PARSER_ERROR",
                      "Cannot deserialize instance of string for the field " + fault.name);
    case LeadFault::Kind::tooLong:
      break;
  }
  return apiError(
      400, "STRING_TOO_LONG",
      fault.name + ": data value too large (max length=" + std::to_string(fault.longest) + ")",
      {fault.name});
}

std::vector<std::string> missingFields(const json& lead) {
  std::vector<std::string> missing;
  for (const char* name : {"LastName", "Company"}) {
    if (trimmed(lead.value(name, "")).empty()) missing.emplace_back(name);
  }
  return missing;
}

HttpResponse refusedMissing(const std::vector<std::string>& missing) {
  std::string names;
  for (const std::string& name : missing) names += (names.empty() ? "" : ", ") + name;
  return apiError(400, "REQUIRED_FIELD_MISSING", "Required fields are missing: [" + names + "]",
                  missing);
}

// One "@" between texts without blanks, and a dot behind it.
bool isMailAddress(const std::string& text) {
  const std::size_t at = text.find('@');
  return at != text.npos && at > 0 && text.find('@', at + 1) == text.npos &&
         text.find_first_of(" <>,;\"") == text.npos && text.find('.', at + 2) != text.npos &&
         !text.ends_with('.');
}

}  // namespace

SalesforceStandIn::SalesforceStandIn(SalesforceAccount account) : account_(std::move(account)) {}

std::span<const Route<SalesforceStandIn>> SalesforceStandIn::routes() {
  using S = SalesforceStandIn;
  static const Route<S> all[] = {
      {"GET", "/services/oauth2/authorize", "page", false, &S::showPage},
      {"POST", "/services/oauth2/token", "token", false, &S::giveToken},
      {"POST", "/services/data/v59.0/sobjects/Lead/", "lead", true, &S::createLead},
  };
  return all;
}

HttpResponse SalesforceStandIn::operator()(const ServedRequest& request) {
  const std::lock_guard guard(lock_);
  const RequestTarget target = requestTarget(request.target);
  const Route<SalesforceStandIn>* route = routeOf(routes(), request.method, target.segments);
  if (route == nullptr) {
    return apiError(404, "NOT_FOUND", "The requested resource does not exist");
  }
  if (auto laidIn = ledger_.enter(route->kind, request)) return std::move(*laidIn);
  if (route->needsToken && !holdsValidToken(request)) {
    return apiError(401, "INVALID_SESSION_ID", "Session expired or invalid");
  }
  return (this->*route->answer)(request, target);
}

bool SalesforceStandIn::holdsValidToken(const ServedRequest& request) const {
  const std::string header = request.header("Authorization");
  return header.starts_with("Bearer ") &&
         tokens_.standing(header.substr(7)) == TokenIssuer::Standing::valid;
}

HttpResponse SalesforceStandIn::showPage(const ServedRequest& request,
                                         const RequestTarget& target) {
  const bool offline = itemOf(target.query, "scope").find("refresh_token") != std::string::npos;
  return signInAnswer({"Salesforce", account_.user, account_.clientId}, request, target, offline,
                      tokens_);
}

HttpResponse SalesforceStandIn::giveToken(const ServedRequest& request, const RequestTarget&) {
  const auto form = formBody(request);
  if (!form) return tokenError(400, "unsupported_grant_type", "grant type not supported");
  const auto field = [&](std::string_view name) { return itemOf(*form, name); };
  if (field("client_id") != account_.clientId) {
    return tokenError(400, "invalid_client_id", "client identifier invalid");
  }
  if (field("client_secret") != account_.clientSecret) {
    return tokenError(400, "invalid_client", "invalid client credentials");
  }
  std::optional<IssuedTokens> tokens;
  if (field("grant_type") == "authorization_code") {
    tokens = tokens_.redeem(field("code"), account_.clientId, field("redirect_uri"),
                            field("code_verifier"));
    if (!tokens) return tokenError(400, "invalid_grant", "invalid authorization code");
  } else if (field("grant_type") == "refresh_token") {
    tokens = tokens_.refresh(field("refresh_token"), account_.clientId, "");
    if (!tokens) return tokenError(400, "invalid_grant", "expired access/refresh token");
  } else {
    return tokenError(400, "unsupported_grant_type", "grant type not supported");
  }
  return jsonAnswer(200, tokenJson(request, *tokens));
}

json SalesforceStandIn::tokenJson(const ServedRequest& request, const IssuedTokens& tokens) const {
  const std::string instance = namedInstance_.value_or("http://" + request.header("Host"));
  json answer = {{"access_token", tokens.accessToken},
                 {"scope", tokens.scope},
                 {"id", "https://login.salesforce.com/id/00D000000000062EA0/005000000000001"},
                 {"token_type", "Bearer"},
                 {"issued_at", std::to_string(std::time(nullptr)) + "000"},
                 {"signature", "c2FuZGJveA=="}};
  if (!instance.empty()) answer["instance_url"] = instance;
  if (tokens.refreshToken) answer["refresh_token"] = *tokens.refreshToken;
  return answer;
}

HttpResponse SalesforceStandIn::createLead(const ServedRequest& request, const RequestTarget&) {
  std::optional<json> lead = jsonBody(request);
  if (!lead) return apiError(400, "JSON_PARSER_ERROR", "Unexpected character in the body");
  if (const auto fault = leadFault(*lead, attributes)) return refusal(*fault);
  if (const auto missing = missingFields(*lead); !missing.empty()) return refusedMissing(missing);
  const std::string email = lead->value("Email", "");
  if (!email.empty() && !isMailAddress(email)) {
    return apiError(400, "INVALID_EMAIL_ADDRESS", "Email: invalid email address: " + email,
                    {"Email"});
  }
  std::string number = std::to_string(leads_.size() + 1);
  const std::string id = "00Q" + std::string(15 - number.size(), '0') + number;
  (*lead)["id"] = id;
  leads_.push_back(*lead);
  return jsonAnswer(201, {{"id", id}, {"success", true}, {"errors", json::array()}});
}

IssuedTokens SalesforceStandIn::signIn() {
  const std::lock_guard guard(lock_);
  return tokens_.issueTokens({account_.clientId, "", "", "api refresh_token", true});
}

void SalesforceStandIn::revokeTokens() {
  const std::lock_guard guard(lock_);
  tokens_.revokeAll();
}

void SalesforceStandIn::nameInstance(std::string url) {
  const std::lock_guard guard(lock_);
  namedInstance_ = std::move(url);
}

std::vector<json> SalesforceStandIn::leads() const {
  const std::lock_guard guard(lock_);
  return leads_;
}

}  // namespace halcyra::sandbox

#include "sandbox/GoogleStandIn.h"

#include "sandbox/JsonAnswer.h"
#include "sandbox/SignInPage.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

constexpr const char* scopes =
    "https://www.googleapis.com/auth/gmail.modify "
    "https://www.googleapis.com/auth/calendar.readonly "
    "https://www.googleapis.com/auth/userinfo.email";

json tokenJson(const IssuedTokens& tokens) {
  json answer = {{"access_token", tokens.accessToken},
                 {"expires_in", TokenIssuer::lifetime.count()},
                 {"scope", tokens.scope},
                 {"token_type", "Bearer"}};
  if (tokens.refreshToken) answer["refresh_token"] = *tokens.refreshToken;
  return answer;
}

std::string bearerOf(const ServedRequest& request) {
  const std::string value = request.header("Authorization");
  return value.starts_with("Bearer ") ? value.substr(7) : std::string();
}

}  // namespace

GoogleStandIn::GoogleStandIn(GoogleAccount account) : account_(std::move(account)) {}

std::span<const Route<GoogleStandIn>> GoogleStandIn::routes() {
  using S = GoogleStandIn;
  static const Route<S> all[] = {
      {"GET", "/o/oauth2/v2/auth", "page", false, &S::showPage},
      {"POST", "/token", "token", false, &S::giveToken},
      {"GET", "/oauth2/v2/userinfo", "userinfo", true, &S::userInfo},
      {"GET", "/gmail/v1/users/me/messages", "list", true, &S::listMessages},
      {"GET", "/gmail/v1/users/me/messages/*", "message", true, &S::getMessage},
      {"POST", "/gmail/v1/users/me/messages/send", "send", true, &S::sendMessage},
      {"POST", "/gmail/v1/users/me/messages/*/modify", "modify", true, &S::modifyMessage},
      {"GET", "/gmail/v1/users/me/labels", "labels", true, &S::listLabels},
      {"POST", "/gmail/v1/users/me/labels", "label", true, &S::createLabel},
      {"GET", "/calendar/v3/users/me/calendarList", "calendars", true, &S::listCalendars},
      {"GET", "/calendar/v3/calendars/*/events", "events", true, &S::listEvents},
  };
  return all;
}

HttpResponse GoogleStandIn::operator()(const ServedRequest& request) {
  const std::lock_guard guard(lock_);
  const RequestTarget target = requestTarget(request.target);
  const Route<GoogleStandIn>* route = routeOf(routes(), request.method, target.segments);
  if (route == nullptr) {
    return googleError(404, "NOT_FOUND", "notFound", "Requested entity was not found.");
  }
  if (auto laidIn = ledger_.enter(route->kind, request)) return std::move(*laidIn);
  if (route->needsToken) {
    if (auto refusal = refusedToken(request, target)) return std::move(*refusal);
  }
  try {
    return (this->*route->answer)(request, target);
  } catch (const json::exception&) {
    return googleError(400, "INVALID_ARGUMENT", "badRequest", "A value has a wrong type.");
  }
}

std::optional<HttpResponse> GoogleStandIn::refusedToken(const ServedRequest& request,
                                                        const RequestTarget& target) const {
  const std::string token = bearerOf(request);
  if (tokens_.standing(token) != TokenIssuer::Standing::valid) {
    return googleError(401, "UNAUTHENTICATED", "authError",
                       "Request had invalid authentication credentials. Expected OAuth 2 access "
                       "token, login cookie or other valid authentication credential.");
  }
  const std::string& service = target.segments.front();
  const char* needed = service == "gmail"      ? "/auth/gmail.modify"
                       : service == "calendar" ? "/auth/calendar"
                                               : "";
  if (tokens_.scopeOf(token).find(needed) == std::string::npos) {
    return googleError(403, "PERMISSION_DENIED", "insufficientPermissions",
                       "Request had insufficient authentication scopes.");
  }
  return std::nullopt;
}

HttpResponse GoogleStandIn::showPage(const ServedRequest& request, const RequestTarget& target) {
  const bool offline = itemOf(target.query, "access_type") == "offline";
  return signInAnswer({"Google", account_.email, account_.clientId}, request, target, offline,
                      tokens_);
}

HttpResponse GoogleStandIn::giveToken(const ServedRequest& request, const RequestTarget&) {
  const auto form = formBody(request);
  if (!form) return tokenError(400, "invalid_request", "The request must be a form.");
  const auto field = [&](std::string_view name) { return itemOf(*form, name); };
  if (field("client_id") != account_.clientId) {
    return tokenError(401, "invalid_client", "The OAuth client was not found.");
  }
  if (field("client_secret") != account_.clientSecret) {
    const bool isMissing = field("client_secret").empty();
    if (isMissing) return tokenError(400, "invalid_request", "client_secret is missing.");
    return tokenError(401, "invalid_client", "The provided client secret is invalid.");
  }
  std::optional<IssuedTokens> tokens;
  if (field("grant_type") == "authorization_code") {
    tokens = tokens_.redeem(field("code"), account_.clientId, field("redirect_uri"),
                            field("code_verifier"));
    if (!tokens) return tokenError(400, "invalid_grant", "Malformed auth code.");
  } else if (field("grant_type") == "refresh_token") {
    tokens = tokens_.refresh(field("refresh_token"), account_.clientId, "");
    if (!tokens) return tokenError(400, "invalid_grant", "Token has been expired or revoked.");
  } else {
    return tokenError(400, "unsupported_grant_type", "Invalid grant_type.");
  }
  return jsonAnswer(200, tokenJson(*tokens));
}

HttpResponse GoogleStandIn::userInfo(const ServedRequest&, const RequestTarget&) {
  return jsonAnswer(200,
                    {{"id", "100200300"}, {"email", account_.email}, {"verified_email", true}});
}

IssuedTokens GoogleStandIn::signIn() {
  const std::lock_guard guard(lock_);
  return tokens_.issueTokens({account_.clientId, "", "", scopes, true});
}

void GoogleStandIn::expireTokens() {
  const std::lock_guard guard(lock_);
  tokens_.expireAccessTokens();
}

void GoogleStandIn::revokeTokens() {
  const std::lock_guard guard(lock_);
  tokens_.revokeAll();
}

void GoogleStandIn::withholdRefreshTokens() {
  const std::lock_guard guard(lock_);
  tokens_.withholdRefreshTokens();
}

std::string GoogleStandIn::deliver(std::string raw, std::set<std::string> labels,
                                   std::chrono::system_clock::time_point received) {
  const std::lock_guard guard(lock_);
  return store_.add(std::move(raw), std::move(labels), received);
}

std::set<std::string> GoogleStandIn::labelsOf(const std::string& id) const {
  const std::lock_guard guard(lock_);
  std::set<std::string> names;
  for (const GmailMessage& message : store_.messages()) {
    if (message.id != id) continue;
    for (const std::string& label : message.labels) names.insert(store_.labelName(label));
  }
  return names;
}

std::vector<std::string> GoogleStandIn::sentMail() const {
  const std::lock_guard guard(lock_);
  std::vector<std::string> sent;
  for (const GmailMessage& message : store_.messages()) {
    if (message.labels.contains("SENT")) sent.push_back(message.raw);
  }
  return sent;
}

}  // namespace halcyra::sandbox

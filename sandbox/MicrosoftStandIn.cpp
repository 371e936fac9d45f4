#include "sandbox/MicrosoftStandIn.h"

#include "sandbox/JsonAnswer.h"
#include "sandbox/SignInPage.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;

constexpr const char* scopes =
    "offline_access openid profile User.Read Mail.ReadWrite Mail.Send Calendars.Read";

// Asks for a token of another service than Graph.
bool isForeignScope(const std::string& scope) {
  return scope.ends_with("/.default") && scope.find("graph.microsoft.com") == scope.npos;
}

json tokenJson(const IssuedTokens& tokens) {
  const auto seconds = TokenIssuer::lifetime.count();
  json answer = {{"token_type", "Bearer"},
                 {"scope", tokens.scope},
                 {"expires_in", seconds},
                 {"ext_expires_in", seconds},
                 {"access_token", tokens.accessToken}};
  if (tokens.refreshToken) answer["refresh_token"] = *tokens.refreshToken;
  return answer;
}

}  // namespace

MicrosoftStandIn::MicrosoftStandIn(MicrosoftAccount account) : account_(std::move(account)) {}

std::span<const Route<MicrosoftStandIn>> MicrosoftStandIn::routes() {
  using S = MicrosoftStandIn;
  static const Route<S> all[] = {
      {"GET", "/common/oauth2/v2.0/authorize", "page", false, &S::showPage},
      {"POST", "/common/oauth2/v2.0/token", "token", false, &S::giveToken},
      {"GET", "/v1.0/me", "me", true, &S::person},
      {"GET", "/v1.0/me/mailFolders", "folders", true, &S::listFolders},
      {"GET", "/v1.0/me/mailFolders/*", "folder", true, &S::getFolder},
      {"GET", "/v1.0/me/mailFolders/*/messages", "list", true, &S::listFolder},
      {"GET", "/v1.0/me/messages", "recent", true, &S::listAll},
      {"GET", "/v1.0/me/messages/*", "message", true, &S::getMessage},
      {"PATCH", "/v1.0/me/messages/*", "patch", true, &S::patchMessage},
      {"GET", "/v1.0/me/messages/*/$value", "raw", true, &S::getRaw},
      {"POST", "/v1.0/me/messages/*/reply", "reply", true, &S::replyTo},
      {"POST", "/v1.0/me/sendMail", "send", true, &S::sendMail},
      {"GET", "/v1.0/me/calendars", "calendars", true, &S::listCalendars},
      {"GET", "/v1.0/me/calendarView", "view", true, &S::viewCalendar},
      {"GET", "/v1.0/me/calendars/*/calendarView", "view", true, &S::viewCalendar},
  };
  return all;
}

HttpResponse MicrosoftStandIn::operator()(const ServedRequest& request) {
  const std::lock_guard guard(lock_);
  const RequestTarget target = requestTarget(request.target);
  const Route<MicrosoftStandIn>* route = routeOf(routes(), request.method, target.segments);
  if (route == nullptr) return graphError(404, "ResourceNotFound", "Resource not found.");
  if (auto laidIn = ledger_.enter(route->kind, request)) return std::move(*laidIn);
  if (route->needsToken) {
    if (auto refusal = refusedToken(request, target)) return std::move(*refusal);
  }
  try {
    return (this->*route->answer)(request, target);
  } catch (const json::exception&) {
    return graphError(400, "BadRequest", "The payload has a value of a wrong type.");
  }
}

std::optional<HttpResponse> MicrosoftStandIn::refusedToken(const ServedRequest& request,
                                                           const RequestTarget& target) const {
  const auto refused = [](const char* message) {
    return graphError(401, "InvalidAuthenticationToken", message);
  };
  const std::string header = request.header("Authorization");
  if (!header.starts_with("Bearer ")) return refused("Access token is empty.");
  const std::string token = header.substr(7);
  switch (tokens_.standing(token)) {
    case TokenIssuer::Standing::unknown:
      return refused("IDX14100: JWT is not well formed.");
    case TokenIssuer::Standing::expired:
      return refused("Lifetime validation failed, the token is expired.");
    case TokenIssuer::Standing::valid:
      break;
  }
  if (isForeignScope(tokens_.scopeOf(token))) {
    return refused("Access token validation failure. Invalid audience.");
  }
  const bool isCalendar = target.segments.size() > 2 && target.segments[2].starts_with("calendar");
  if (isCalendar && tokens_.scopeOf(token).find("Calendars.Read") == std::string::npos) {
    return graphError(403, "ErrorAccessDenied",
                      "Access is denied. Check credentials and try again.");
  }
  return std::nullopt;
}

HttpResponse MicrosoftStandIn::showPage(const ServedRequest& request, const RequestTarget& target) {
  const bool offline = itemOf(target.query, "scope").find("offline_access") != std::string::npos;
  return signInAnswer({"Microsoft", account_.email, account_.clientId}, request, target, offline,
                      tokens_);
}

HttpResponse MicrosoftStandIn::giveToken(const ServedRequest& request, const RequestTarget&) {
  const auto form = formBody(request);
  if (!form) {
    return tokenError(400, "invalid_request",
                      "AADSTS900144: The request body must contain the following parameter: "
                      "'grant_type'.");
  }
  const auto field = [&](std::string_view name) { return itemOf(*form, name); };
  if (field("client_id") != account_.clientId) {
    return tokenError(400, "unauthorized_client",
                      "AADSTS700016: Application with identifier '" + field("client_id") +
                          "' was not found in the directory.");
  }
  if (!field("client_secret").empty()) {
    return tokenError(401, "invalid_client",
                      "AADSTS700025: Client is public so neither 'client_assertion' nor "
                      "'client_secret' should be presented.");
  }
  std::optional<IssuedTokens> tokens;
  if (field("grant_type") == "authorization_code") {
    tokens = tokens_.redeem(field("code"), account_.clientId, field("redirect_uri"),
                            field("code_verifier"));
  } else if (field("grant_type") == "refresh_token") {
    tokens = tokens_.refresh(field("refresh_token"), account_.clientId, field("scope"));
  } else {
    return tokenError(400, "unsupported_grant_type",
                      "AADSTS70003: The app requested an unsupported grant type.");
  }
  if (!tokens) {
    return tokenError(400, "invalid_grant",
                      "AADSTS70008: The provided authorization code or refresh token has expired "
                      "or is not valid.");
  }
  return jsonAnswer(200, tokenJson(*tokens));
}

HttpResponse MicrosoftStandIn::person(const ServedRequest&, const RequestTarget&) {
  return jsonAnswer(200, {{"id", "48d31887"},
                          {"displayName", "Sandbox Person"},
                          {"mail", account_.email},
                          {"userPrincipalName", account_.email}});
}

IssuedTokens MicrosoftStandIn::signIn() {
  const std::lock_guard guard(lock_);
  return tokens_.issueTokens({account_.clientId, "", "", scopes, true});
}

IssuedTokens MicrosoftStandIn::signInTo(const std::string& environment) {
  const std::lock_guard guard(lock_);
  return tokens_.issueTokens({account_.clientId, "", "", environment + "/.default", false});
}

std::optional<std::string> MicrosoftStandIn::scopeOfToken(const std::string& accessToken) const {
  const std::lock_guard guard(lock_);
  if (tokens_.standing(accessToken) != TokenIssuer::Standing::valid) return std::nullopt;
  return tokens_.scopeOf(accessToken);
}

void MicrosoftStandIn::expireTokens() {
  const std::lock_guard guard(lock_);
  tokens_.expireAccessTokens();
}

void MicrosoftStandIn::revokeTokens() {
  const std::lock_guard guard(lock_);
  tokens_.revokeAll();
}

void MicrosoftStandIn::withholdRefreshTokens() {
  const std::lock_guard guard(lock_);
  tokens_.withholdRefreshTokens();
}

void MicrosoftStandIn::refuse(TenantRefusals refusals) {
  const std::lock_guard guard(lock_);
  refusals_ = refusals;
}

std::string MicrosoftStandIn::deliver(std::string raw, OutlookDelivery how) {
  const std::lock_guard guard(lock_);
  return store_.add({"", OutlookStore::folderOf("inbox")->id, std::move(raw), how.received,
                     how.isRead, std::move(how.inferenceClassification),
                     std::move(how.categories)});
}

bool MicrosoftStandIn::isRead(const std::string& id) const {
  const std::lock_guard guard(lock_);
  for (const OutlookMessage& message : store_.messages()) {
    if (message.id == id) return message.isRead;
  }
  return false;
}

std::vector<std::string> MicrosoftStandIn::categoriesOf(const std::string& id) const {
  const std::lock_guard guard(lock_);
  for (const OutlookMessage& message : store_.messages()) {
    if (message.id == id) return message.categories;
  }
  return {};
}

std::vector<json> MicrosoftStandIn::sentMail() const {
  const std::lock_guard guard(lock_);
  return sent_;
}

}  // namespace halcyra::sandbox

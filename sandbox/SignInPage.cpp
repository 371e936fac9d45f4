#include "sandbox/SignInPage.h"

#include "sandbox/JsonAnswer.h"
#include "text/EscapedHtml.h"

namespace halcyra::sandbox {
namespace {

HttpResponse htmlPage(int status, const std::string& title, const std::string& content) {
  return {status,
          {{"Content-Type", "text/html; charset=utf-8"}},
          "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>" + escapedHtml(title) +
              "</title></head><body><h1>" + escapedHtml(title) + "</h1>" + content +
              "</body></html>"};
}

// A desktop program listens on the machine itself, on a port of its own (RFC 8252, section 7.3).
bool isLoopback(std::string_view address) {
  for (const std::string_view start : {"http://localhost", "http://127.0.0.1", "http://[::1]"}) {
    if (!address.starts_with(start)) continue;
    const std::string_view rest = address.substr(start.size());
    if (rest.starts_with(':') || rest.starts_with('/')) return true;
  }
  return false;
}

std::string faultOf(const SignInPage& page, const std::vector<QueryItem>& query) {
  if (itemOf(query, "client_id") != page.clientId) return "invalid_client";
  if (itemOf(query, "response_type") != "code") return "unsupported_response_type";
  if (!isLoopback(itemOf(query, "redirect_uri"))) return "redirect_uri_mismatch";
  if (itemOf(query, "scope").empty()) return "invalid_scope";
  const bool hasChallenge = itemOf(query, "code_challenge").size() == 43 &&
                            itemOf(query, "code_challenge_method") == "S256";
  return hasChallenge ? "" : "invalid_request: a code challenge of the method S256 is required";
}

HttpResponse sentBack(const std::string& redirectURI,
                      const std::vector<std::pair<std::string, std::string>>& items) {
  return {302, {{"Location", redirectURI + "?" + formEncoded(items)}}, {}};
}

// A click that the page makes on its own link, for a browser that nobody sits at.
std::string clickOn(const std::string& id) {
  if (id != "allow" && id != "deny") return "";
  return "<script>document.getElementById(\"" + id + "\").click()</script>";
}

HttpResponse question(const SignInPage& page, const ServedRequest& request,
                      const RequestTarget& target) {
  const auto link = [&](const char* id, const char* text) {
    return std::string("<p><a id=\"") + id + "\" href=\"" +
           escapedHtml(request.target + "&decision=" + id) + "\">" + text + "</a></p>";
  };
  return htmlPage(200, "Sandbox sign-in: " + page.provider,
                  "<p>Halcyra asks for access to " + escapedHtml(page.account) + ".</p><p>" +
                      escapedHtml(itemOf(target.query, "scope")) + "</p>" + link("allow", "Allow") +
                      link("deny", "Deny") + clickOn(itemOf(target.query, "autoclick")));
}

}  // namespace

HttpResponse signInAnswer(const SignInPage& page, const ServedRequest& request,
                          const RequestTarget& target, bool offline, TokenIssuer& issuer) {
  const std::vector<QueryItem>& query = target.query;
  if (const std::string fault = faultOf(page, query); !fault.empty()) {
    return htmlPage(400, "Error 400: " + fault, "");
  }
  const std::string decision = itemOf(query, "decision");
  const std::string redirectURI = itemOf(query, "redirect_uri");
  if (decision == "deny") {
    return sentBack(redirectURI, {{"error", "access_denied"},
                                  {"error_description", "The person refused access."}});
  }
  if (decision != "allow") return question(page, request, target);
  return sentBack(
      redirectURI,
      {{"code", issuer.issueCode({page.clientId, redirectURI, itemOf(query, "code_challenge"),
                                  itemOf(query, "scope"), offline})}});
}

}  // namespace halcyra::sandbox

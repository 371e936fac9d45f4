#include <gtest/gtest.h>

#include <set>

#include "signin/OAuthFlowError.h"
#include "signin/OAuthRedirect.h"
#include "signin/PKCE.h"
#include "signin/RequestLine.h"
#include "support/FailureText.h"

namespace halcyra {
namespace {

TEST(PKCE, VerifiersAreFreshAndURLSafe) {
  std::set<std::string> seen;
  for (int round = 0; round < 50; ++round) {
    const std::string verifier = makeCodeVerifier();
    EXPECT_EQ(verifier.size(), 43u);
    EXPECT_EQ(verifier.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                         "0123456789-_"),
              std::string::npos);
    EXPECT_TRUE(seen.insert(verifier).second);
  }
}

// RFC 7636, appendix B.
TEST(PKCE, TheChallengeIsTheStandardsOne) {
  EXPECT_EQ(codeChallenge("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk"),
            "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");
}

TEST(AuthorizationCode, ComesFromTheQueryOrTheProvidersErrorDoes) {
  const std::string none = "No authorization code in callback.";
  struct Case {
    std::string target, code, error;
  };
  const Case cases[] = {
      {"/oauth?code=4%2F0Ab%2Bc&scope=x", "4/0Ab+c", ""},
      {"/?state=1&code=a+b", "a+b", ""},
      {"/oauth?code=first&code=second&error=e", "first", ""},
      {"/oauth?code=&code=second", "", none},
      {"/oauth?code=&error=access_denied", "", "access_denied"},
      {"/oauth?error=access_denied&error_description=The%20user%20said%20no", "",
       "The user said no"},
      {"/oauth?error=e&error_description", "", "e"},
      {"/oauth?error", "", none},
      {"/oauth?error&error=second", "", none},
      {"/favicon.ico", "", none},
      {"/oauth#?code=fragment", "", none},
      {"/oauth?x=1#&code=fragment", "", none},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.target);
    std::string code;
    const std::string failure = failureText<OAuthFlowError>(
        [&] { code = authorizationCode("http://localhost:18876" + c.target); });
    EXPECT_EQ(code, c.code);
    EXPECT_EQ(failure, c.error.empty() ? "no exception" : c.error);
  }
}

std::string response(const std::string& start, const std::string& body) {
  return "HTTP/1.1 " + start + "\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

TEST(RequestLine, AnyGetIsTheRedirectAndAllElseIsRefused) {
  const std::string page =
      "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>OK</title></head><body><p>Sign-in "
      "complete. You can close this window.</p></body></html>";
  const std::vector<std::pair<std::string, std::string>> usable = {
      {"GET /oauth?code=1 HTTP/1.1\r", "/oauth?code=1"},
      {"get /favicon.ico", "/favicon.ico"},
      {"  GeT    /   HTTP/1.1", "/"},
      {"GET ?code=1 HTTP/1.0", "?code=1"},
      {"GET /oauth?error_description={no}|\xC3\xA9 HTTP/1.1",
       "/oauth?error_description={no}|\xC3\xA9"},
  };
  for (const auto& [line, target] : usable) {
    EXPECT_EQ(replyToRequestLine(line, false),
              (RequestReply{response("200 OK", page), "http://localhost:18876" + target}));
    EXPECT_EQ(replyToRequestLine(line, true), (RequestReply{response("200 OK", "OK"), {}}));
  }
  for (const char* line :
       {"", "\r", "GET", "POST /oauth?code=1 HTTP/1.1", "GET http://a/ HTTP/1.1", "GET 1/ HTTP/1.1",
        "GET @evil/ HTTP/1.1", "GET\t/ HTTP/1.1", "GET /a\tb HTTP/1.1", "GETS / HTTP/1.1"}) {
    for (const bool alreadyRedirected : {false, true}) {
      EXPECT_EQ(replyToRequestLine(line, alreadyRedirected),
                (RequestReply{response("400 Error", "Bad Request"), {}}))
          << line;
    }
  }
}

TEST(RequestLine, IsCompleteAtItsLineFeedHoweverItArrives) {
  using enum RequestLine::State;
  const std::string request = "GET /\xC3\xA9 HTTP/1.1\r\nHost: \xFF\n\n";
  for (std::size_t size = 1; size <= request.size(); ++size) {
    RequestLine line;
    RequestLine::State state = incomplete;
    for (std::size_t at = 0; at < request.size() && state == incomplete; at += size) {
      state = line.add(request.substr(at, size));
    }
    EXPECT_EQ(state, complete);
    EXPECT_EQ(line.text(), "GET /\xC3\xA9 HTTP/1.1\r");
  }
  RequestLine full, over, broken;
  EXPECT_EQ(full.add(std::string(262144, 'a')), incomplete);
  EXPECT_EQ(full.add("\n"), complete);
  EXPECT_EQ(over.add(std::string(262144, 'a')), incomplete);
  EXPECT_EQ(over.add("a"), unusable);
  EXPECT_EQ(broken.add("GET /\xC3\n"), unusable);
}

}  // namespace
}  // namespace halcyra

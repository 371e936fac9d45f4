#pragma once

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "sandbox/CalendarStore.h"
#include "sandbox/GmailStore.h"
#include "sandbox/StandIn.h"
#include "sandbox/TokenIssuer.h"

namespace halcyra::sandbox {

struct GoogleAccount {
  std::string email = "person@gmail.example";
  std::string clientId = "sandbox-google-client";
  /// The token endpoint asks for it, unless empty.
  std::string clientSecret = {};
};

/// Answers like Google for one person: sign-in page, tokens, user information, Gmail and
/// Calendar, all below one base URL. What the real services refuse is refused with the same kind of
/// error object. Safe to call from any thread. Kinds of requests: page, token, userinfo, list,
/// message, message.raw, message.minimal, message.metadata, labels, label, modify, send, calendars,
/// events.
class GoogleStandIn : public StandIn {
 public:
  explicit GoogleStandIn(GoogleAccount account = {});

  HttpResponse operator()(const ServedRequest& request);

  /// Tokens with all scopes, without a browser.
  IssuedTokens signIn();
  void expireTokens();
  void revokeTokens();
  void withholdRefreshTokens();

  /// Puts a message into the mailbox and gives its id. Labels are those of Gmail, such as
  /// CATEGORY_SOCIAL.
  std::string deliver(
      std::string raw, std::set<std::string> labels = {"INBOX", "UNREAD"},
      std::chrono::system_clock::time_point received = std::chrono::system_clock::now());

  /// The names of a message's labels, system labels included.
  std::set<std::string> labelsOf(const std::string& id) const;
  bool isUnread(const std::string& id) const { return labelsOf(id).contains("UNREAD"); }

  /// What was sent, decoded, oldest first.
  std::vector<std::string> sentMail() const;

  /// The primary calendar is there from the start; its id is the address.
  void addCalendar(std::string id);
  /// Into the primary calendar, unless another is named.
  void addEvent(CalendarEvent event, const std::string& calendarId = {});

 private:
  HttpResponse showPage(const ServedRequest& request, const RequestTarget& target);
  HttpResponse giveToken(const ServedRequest& request, const RequestTarget& target);
  HttpResponse userInfo(const ServedRequest& request, const RequestTarget& target);
  HttpResponse listMessages(const ServedRequest& request, const RequestTarget& target);
  HttpResponse getMessage(const ServedRequest& request, const RequestTarget& target);
  HttpResponse sendMessage(const ServedRequest& request, const RequestTarget& target);
  HttpResponse modifyMessage(const ServedRequest& request, const RequestTarget& target);
  HttpResponse listLabels(const ServedRequest& request, const RequestTarget& target);
  HttpResponse createLabel(const ServedRequest& request, const RequestTarget& target);

  HttpResponse listCalendars(const ServedRequest& request, const RequestTarget& target);
  HttpResponse listEvents(const ServedRequest& request, const RequestTarget& target);

  static std::span<const Route<GoogleStandIn>> routes();
  std::optional<HttpResponse> refusedToken(const ServedRequest& request,
                                           const RequestTarget& target) const;

  const GoogleAccount account_;
  TokenIssuer tokens_{"ya29.", TokenIssuer::Refreshing::keepsToken};
  GmailStore store_;
  CalendarStore calendars_{account_.email};
};

}  // namespace halcyra::sandbox

#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "sandbox/CalendarStore.h"
#include "sandbox/OutlookStore.h"
#include "sandbox/StandIn.h"
#include "sandbox/TokenIssuer.h"

namespace halcyra::sandbox {

struct MicrosoftAccount {
  std::string email = "person@outlook.example";
  std::string clientId = "sandbox-microsoft-client";
};

/// What a tenant's servers refuse. Tenants differ.
struct TenantRefusals {
  /// $orderby together with a filter by date.
  bool orderWithDateFilter = false;
  /// A filter by date.
  bool dateFilter = false;
  /// Any $filter of messages.
  bool filter = false;
  /// The property inferenceClassification.
  bool inferenceClassification = false;
  /// The original text of messages.
  bool rawText = false;
  /// Headers of a sent message that do not begin with "x-". Graph itself refuses them.
  bool standardHeaders = true;
  /// The property wellKnownFolderName, which version 1.0 of Graph does not have.
  bool wellKnownFolderName = true;
};

struct OutlookDelivery {
  std::chrono::system_clock::time_point received = std::chrono::system_clock::now();
  bool isRead = false;
  std::string inferenceClassification = "focused";
  std::vector<std::string> categories = {};
};

/// Answers like Microsoft for one person: sign-in page, tokens, and mail and calendars through
/// Graph v1.0, all below one base URL. Refresh tokens are good once. What the real services refuse
/// is refused with the same kind of error object. Safe to call from any thread. Kinds of requests:
/// page, token, me, folders, folder, list, recent, message, raw, patch, reply, send, calendars,
/// view.
class MicrosoftStandIn : public StandIn {
 public:
  explicit MicrosoftStandIn(MicrosoftAccount account = {});

  HttpResponse operator()(const ServedRequest& request);

  /// Tokens with all scopes, without a browser.
  IssuedTokens signIn();
  /// The scope of an access token that is in force, or nothing.
  std::optional<std::string> scopeOfToken(const std::string& accessToken) const;
  /// The same for a Dataverse environment.
  IssuedTokens signInTo(const std::string& environment);
  void expireTokens();
  void revokeTokens();
  void withholdRefreshTokens();
  void refuse(TenantRefusals refusals);

  /// Puts a message into the inbox and gives its id.
  std::string deliver(std::string raw, OutlookDelivery how = {});

  bool isRead(const std::string& id) const;
  std::vector<std::string> categoriesOf(const std::string& id) const;

  /// The bodies of the requests that sent mail, oldest first: {"message": …} of sendMail, and
  /// {"comment": …, "inReplyTo": id} of a reply.
  std::vector<nlohmann::json> sentMail() const;

  /// A default calendar is there from the start.
  void addCalendar(std::string id);
  /// Into the default calendar, unless another is named.
  void addEvent(CalendarEvent event, const std::string& calendarId = {});

 private:
  HttpResponse showPage(const ServedRequest& request, const RequestTarget& target);
  HttpResponse giveToken(const ServedRequest& request, const RequestTarget& target);
  HttpResponse person(const ServedRequest& request, const RequestTarget& target);
  HttpResponse listFolders(const ServedRequest& request, const RequestTarget& target);
  HttpResponse getFolder(const ServedRequest& request, const RequestTarget& target);
  HttpResponse listFolder(const ServedRequest& request, const RequestTarget& target);
  HttpResponse listAll(const ServedRequest& request, const RequestTarget& target);
  HttpResponse getMessage(const ServedRequest& request, const RequestTarget& target);
  HttpResponse getRaw(const ServedRequest& request, const RequestTarget& target);
  HttpResponse patchMessage(const ServedRequest& request, const RequestTarget& target);
  HttpResponse replyTo(const ServedRequest& request, const RequestTarget& target);
  HttpResponse sendMail(const ServedRequest& request, const RequestTarget& target);

  HttpResponse listCalendars(const ServedRequest& request, const RequestTarget& target);
  HttpResponse viewCalendar(const ServedRequest& request, const RequestTarget& target);

  static std::span<const Route<MicrosoftStandIn>> routes();
  std::optional<HttpResponse> refusedToken(const ServedRequest& request,
                                           const RequestTarget& target) const;
  HttpResponse listed(std::string_view folderId, const RequestTarget& target) const;
  std::optional<HttpResponse> refusedQuery(const ODataQuery& query) const;
  nlohmann::json folderResource(const OutlookStore::Folder& folder) const;

  const MicrosoftAccount account_;
  TokenIssuer tokens_{"EwB", TokenIssuer::Refreshing::rotatesToken};
  OutlookStore store_;
  CalendarStore calendars_{"AQMk/Default+Calendar="};
  std::vector<nlohmann::json> sent_;
  TenantRefusals refusals_;
};

}  // namespace halcyra::sandbox

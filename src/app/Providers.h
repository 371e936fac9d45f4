#pragma once

#include "classification/MeetingContext.h"
#include "config/KeychainHelper.h"
#include "crm/CalendarService.h"
#include "crm/DataverseClient.h"
#include "crm/SalesforceLeads.h"
#include "crm/SalesforceSessions.h"
#include "crm/SalesforceSignIn.h"
#include "mail/GmailAPIClient.h"
#include "mail/GmailLabelCache.h"
#include "mail/GraphMailClient.h"
#include "platform/Browser.h"
#include "platform/Clock.h"
#include "platform/Endpoints.h"
#include "platform/HttpClient.h"
#include "platform/Log.h"
#include "platform/LoopbackListener.h"
#include "signin/AccessTokens.h"
#include "signin/MailboxSignIn.h"
#include "triage/LeadActions.h"
#include "triage/MailboxPass.h"
#include "triage/ProviderMailbox.h"

namespace halcyra {

/// What Google, Microsoft and Salesforce are reached with. All of it outlives the providers.
struct ProviderServices {
  HttpClient& http;
  Clock& clock;
  KeychainHelper& secrets;
  ProcessedMessageStore& processed;
  LoopbackListener& listener;
  Browser& browser;
  Log& log;
  Executor blocking;
  Endpoints endpoints;
};

/// The clients of Google, Microsoft and Salesforce, connected once.
class Providers {
 public:
  explicit Providers(ProviderServices services);

  MailboxSignIn& signIn() { return signIn_; }
  OAuthCredentialStore& credentials() { return credentials_; }
  AccessTokens& tokens() { return tokens_; }
  GmailAPIClient& gmail() { return gmail_; }
  GraphMailClient& graph() { return graph_; }
  CalendarService& calendars() { return calendars_; }
  UserCalendar userCalendar() const { return userCalendar_; }
  MeetingContext& meetings() { return meetings_; }
  ProviderMail& mail() { return mail_; }
  ProviderSync& sync() { return sync_; }
  CRMClients crm() {
    return {secrets_, tokens_, dataverse_, salesforceSessions_, salesforceLeads_};
  }
  SalesforceCredentialStore& salesforceCredentials() { return salesforceCredentials_; }
  SalesforceSignIn& salesforceSignIn() { return salesforceSignIn_; }

 private:
  KeychainHelper& secrets_;
  OAuthCredentialStore credentials_;
  GoogleOAuthClient googleOAuth_;
  MicrosoftOAuthClient microsoftOAuth_;
  AccessTokens tokens_;
  OAuthWebSession browser_;
  MailboxSignIn signIn_;
  GmailLabelCache labels_;
  GmailAPIClient gmail_;
  GraphMailClient graph_;
  CalendarService calendars_;
  UserCalendar userCalendar_;
  MeetingContext meetings_;
  ProviderMailbox mail_;
  ProviderSync sync_;
  DataverseClient dataverse_;
  SalesforceCredentialStore salesforceCredentials_;
  SalesforceOAuthClient salesforceOAuth_;
  SalesforceSessions salesforceSessions_;
  SalesforceLeads salesforceLeads_;
  SalesforceSignIn salesforceSignIn_;
};

}  // namespace halcyra

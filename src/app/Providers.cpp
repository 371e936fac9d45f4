#include "app/Providers.h"

namespace halcyra {

Providers::Providers(ProviderServices services)
    : secrets_(services.secrets),
      credentials_(services.secrets),
      googleOAuth_(services.http, services.clock, services.endpoints,
                   services.secrets.buildSetting("HalcyraGoogleOAuthClientSecret")),
      microsoftOAuth_(services.http, services.clock, services.endpoints),
      tokens_(services.secrets, credentials_, googleOAuth_, microsoftOAuth_, services.clock,
              services.blocking),
      browser_(services.listener, services.browser),
      signIn_({.browser = browser_,
               .credentials = credentials_,
               .secrets = services.secrets,
               .google = googleOAuth_,
               .microsoft = microsoftOAuth_}),
      gmail_(services.http, services.clock, labels_, services.endpoints),
      graph_(services.http, services.clock, services.log, services.endpoints),
      calendars_(services.http, services.endpoints),
      userCalendar_{services.clock, userDateStyles()},
      meetings_({.tokens = tokens_,
                 .calendars = calendars_,
                 .gmail = gmail_,
                 .graph = graph_,
                 .calendar = userCalendar_,
                 .log = services.log}),
      mail_({tokens_, gmail_, graph_}),
      sync_{{tokens_, gmail_, graph_}, mail_, services.processed},
      dataverse_(services.http, services.endpoints),
      salesforceCredentials_(services.secrets),
      salesforceOAuth_(services.http, services.clock, services.endpoints,
                       services.secrets.buildSetting("HalcyraSalesforceOAuthClientSecret")),
      salesforceSessions_(services.secrets, salesforceCredentials_, salesforceOAuth_,
                          services.clock, services.blocking),
      salesforceLeads_(services.http),
      salesforceSignIn_({.browser = browser_,
                         .credentials = salesforceCredentials_,
                         .secrets = services.secrets,
                         .client = salesforceOAuth_}) {}

}  // namespace halcyra

#pragma once

#include <atomic>
#include <cstddef>
#include <optional>
#include <string>

#include "config/KeychainHelper.h"
#include "crm/DataverseClient.h"
#include "crm/DynamicsLeadFields.h"
#include "crm/SalesforceLeads.h"
#include "crm/SalesforceSessions.h"
#include "platform/HttpClient.h"
#include "platform/Log.h"
#include "platform/Task.h"
#include "signin/AccessTokens.h"
#include "triage/IncomingMail.h"

namespace halcyra {

/// The CRMs and the way in. All of it outlives its users.
struct CRMClients {
  KeychainHelper& secrets;
  AccessTokens& tokens;
  DataverseClient& dataverse;
  SalesforceSessions& sessions;
  SalesforceLeads& salesforce;
};

/// Turns mail into leads, for rules and for steps of a chain. Belongs to the main executor and
/// outlives its operations. Nothing is thrown.
class LeadActions {
 public:
  /// `http` leads to the model. Both outlive the object.
  LeadActions(CRMClients crm, HttpClient& http, Log& log) : crm_(crm), http_(http), log_(log) {}

  /// What the model reads out of the mail; after a failure, which is logged, what the From line
  /// tells.
  Task<DynamicsLeadFields> leadFields(SharedIncomingMail incoming, std::string llmAPIKey);

  /// With a connection in its environment, by the sign-in of its mailbox; without one in the
  /// environment of the configuration, by the sign-in of the mailbox that the mail came to. False
  /// after logging why.
  Task<bool> createDynamicsLead(SharedIncomingMail incoming, DynamicsLeadFields fields,
                                std::optional<CRMConnectionProfile> connection);

  /// With the sign-in of the connection; without one with the older single sign-in. False after
  /// logging why.
  Task<bool> createSalesforceLead(SharedIncomingMail incoming, DynamicsLeadFields fields,
                                  std::optional<CRMConnectionProfile> connection);

  /// Is a lead on its way? If the program ended now, it might be created once more at the next
  /// start.
  bool isSending() const { return underWay_ > 0; }

 private:
  struct DynamicsTarget;

  std::optional<DynamicsTarget> dynamicsTarget(
      const IncomingMail& incoming, const std::optional<CRMConnectionProfile>& connection);
  Task<void> sendToDynamics(SharedIncomingMail incoming, DynamicsLeadFields fields,
                            DynamicsTarget target);
  Task<void> sendToSalesforce(SharedIncomingMail incoming, DynamicsLeadFields fields,
                              std::string connectionId);
  Task<bool> told(Task<void> creation, SharedIncomingMail incoming, std::string crm);

  CRMClients crm_;
  HttpClient& http_;
  Log& log_;
  std::atomic<std::size_t> underWay_ = 0;
};

}  // namespace halcyra

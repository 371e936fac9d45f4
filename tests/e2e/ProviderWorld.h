#pragma once

#include <string>
#include <vector>

#include "World.h"
#include "sandbox/ProviderServers.h"

namespace halcyra {

/// A world with a Gmail mailbox "g" and an Outlook mailbox "o", both without a sign-in, their
/// providers on loopback ports, and a model that chooses the rule whose id is the subject. Sent
/// mail is not read for its tone. Besides the rules of every world there are "forward" to
/// boss@y.org and "tagged", which only tags.
struct ProviderWorld : World {
  static constexpr const char* gmailAddress = "person@gmail.example";
  static constexpr const char* outlookAddress = "person@outlook.example";
  static constexpr const char* tag = "Büro \"A\" 📌";

  explicit ProviderWorld(sandbox::GoogleAccount google = {},
                         sandbox::SalesforceAccount salesforce = {});

  /// Signs both mailboxes in; the access tokens say that they last so long.
  void signIn(std::chrono::seconds lifetime = sandbox::TokenIssuer::lifetime);

  /// Is one of the tokens handed out by `signIn`, or part of a code or token, in the text?
  static bool holdsToken(const std::string& text);

  /// Messages whose subject names the rule; the ids that the provider gave them.
  std::string toGmail(const std::string& messageID, const std::string& rule,
                      std::set<std::string> labels = {"INBOX", "UNREAD"});
  std::string toOutlook(const std::string& messageID, const std::string& rule,
                        sandbox::OutlookDelivery how = {});

  sandbox::ProviderServers providers;
  ScriptedModel model;
};

}  // namespace halcyra

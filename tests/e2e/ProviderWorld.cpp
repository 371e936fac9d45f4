#include "ProviderWorld.h"

#include "sandbox/SampleMail.h"

namespace halcyra {
namespace {

HttpResponse ruleOfSubject(const std::string& mail) {
  const std::size_t at = mail.find("Subject: ") + 9;
  return completion(choice(mail.substr(at, mail.find('\n', at) - at), 0.9, "Of course."));
}

}  // namespace

ProviderWorld::ProviderWorld(sandbox::GoogleAccount google, sandbox::SalesforceAccount salesforce)
    : providers(std::move(google), {}, std::move(salesforce)), model(ruleOfSubject) {
  home.addGmailMailbox("g", gmailAddress);
  home.addGraphMailbox("o", outlookAddress);
  home.addRule("forward", "Forward", "Forwards.", "forwardSilently");
  home.settings["rules"].back()["forwardTo"] = "boss@y.org";
  home.addRule("tagged", "Tagged", "Tags.", "doNothing");
  home.settings["rules"].back()["mailboxTagName"] = tag;
  home.settings["prefilterMarketingEnabled"] = true;
  home.settings["prefilterSkippedTagGmailPromotions"] = "Bulk";
  home.settings["prefilterSkippedTagOutlookOther"] = "Bulk";
  home.settings["meetingIncludeSentMailVoice"] = false;
  home.settings["llmBaseURL"] = model.baseURL();
  home.save();
  home.storeSecret("llm.apiKey", "key");
  home.useProviders(providers.access());
}

void ProviderWorld::signIn(std::chrono::seconds lifetime) {
  home.storeCredential("g", providers.google.signIn(), lifetime);
  home.storeCredential("o", providers.microsoft.signIn(), lifetime);
}

bool ProviderWorld::holdsToken(const std::string& text) {
  for (const char* part : {"ya29.", "EwB", "access-", "refresh/", "refresh%2F"}) {
    if (text.find(part) != text.npos) return true;
  }
  return false;
}

std::string ProviderWorld::toGmail(const std::string& messageID, const std::string& rule,
                                   std::set<std::string> labels) {
  return providers.google.deliver(sandbox::simpleMessage(messageID, rule, "Text."),
                                  std::move(labels));
}

std::string ProviderWorld::toOutlook(const std::string& messageID, const std::string& rule,
                                     sandbox::OutlookDelivery how) {
  return providers.microsoft.deliver(sandbox::simpleMessage(messageID, rule, "Text."),
                                     std::move(how));
}

}  // namespace halcyra

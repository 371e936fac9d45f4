#include "FaultWorld.h"

#include <nlohmann/json.hpp>

#include "sandbox/SampleMail.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

using nlohmann::json;

std::string idOf(std::uint32_t number) {
  return "<" + std::to_string(number) + "@x>";
}

// Which message a text is about, by the number in its subject; 0 when the subject was struck.
std::uint32_t messageIn(const std::string& text) {
  const std::string subject = "Hello ";
  const std::size_t at = text.find(subject);
  return at == text.npos ? 0 : static_cast<std::uint32_t>(std::atoi(&text[at + subject.size()]));
}

HttpResponse modelAnswer(const char* rule, const sandbox::ServedRequest& request) {
  const bool readsALead = request.body.find("first_name") != std::string::npos;
  const json reply =
      readsALead ? json{{"subject", "S"},
                        {"last_name", "Lee"},
                        {"company_name", "Hello " + std::to_string(messageIn(request.body))}}
                 : json{{"rule_id", rule}, {"confidence", 0.9}, {"draft_reply", "Yes."}};
  const json body = {{"choices", {{{"message", {{"content", reply.dump()}}}}}}};
  return {200, {{"Content-Type", "application/json"}}, body.dump()};
}

BuildValues buildValues(const sandbox::ProviderAccess& access) {
  return {{"HalcyraGoogleOAuthClientId", access.googleClientId},
          {"HalcyraMicrosoftOAuthClientId", access.microsoftClientId},
          {"HalcyraSalesforceOAuthClientId", access.salesforceClientId}};
}

std::vector<MailRule> rules() {
  return {{.id = "forward",
           .displayName = "Forward",
           .criteriaPrompt = "a",
           .action = MailRuleAction::forwardSilently,
           .forwardTo = "boss@y.org",
           .mailboxTagName = "Sent on"},
          {.id = "dynamics",
           .displayName = "Dynamics",
           .criteriaPrompt = "b",
           .action = MailRuleAction::dynamicsCreateLead},
          {.id = "salesforce",
           .displayName = "Salesforce",
           .criteriaPrompt = "c",
           .action = MailRuleAction::salesforceCreateLead},
          {.id = "chain",
           .displayName = "Chain",
           .criteriaPrompt = "d",
           .action = MailRuleAction::runCustomAutomation,
           .customAutomationId = "steps"},
          {.id = "other",
           .displayName = "Other",
           .criteriaPrompt = "e",
           .action = MailRuleAction::doNothing,
           .isCatchAll = true}};
}

CustomAutomation chain() {
  using enum CustomAutomationStepKind;
  return {"steps",
          "Steps",
          {{.id = "1", .kind = createSalesforceLead, .connectionId = "sf"},
           {.id = "2", .kind = createDynamicsLead, .connectionId = "dyn"},
           {.id = "3", .kind = forwardSilently, .forwardTo = "boss@y.org"},
           {.id = "4", .kind = suggestReply}}};
}

std::vector<CRMConnectionProfile> connections() {
  return {{.id = "sf", .displayName = "S", .kind = CRMConnectionKind::salesforce},
          {.id = "dyn",
           .displayName = "D",
           .microsoftMailAccountId = "graph",
           .dataverseEnvironmentURL = sandbox::DataverseStandIn::environment}};
}

}  // namespace

TimePoint FaultWorld::noon() {
  const TimePoint day = std::chrono::sys_days(std::chrono::year(2026) / 3 / 5);
  return SystemClock().startOfLocalDay(day) + std::chrono::hours(12);
}

FaultWorld::FaultWorld(const Exchange& exchange, Fault fault, TimePoint start)
    : exchange_(exchange),
      wire_(fault),
      model_([rule = exchange.rule](const auto& request) { return modelAnswer(rule, request); }),
      secrets_(storage_, buildValues(servers_.access())),
      clock_(start),
      providers_({.http = http_,
                  .clock = clock_,
                  .secrets = secrets_,
                  .processed = processed_,
                  .listener = person_,
                  .browser = person_,
                  .log = log_,
                  .blocking = context_.get_executor(),
                  .endpoints = endpoints_}),
      state_(services()) {
  // A length that was struck makes one side wait for more. Where a loaded machine makes a healthy
  // answer late, there is a second fault, which must be survived as well.
  if (isFlip(fault.kind)) http_.patience = std::chrono::milliseconds(100);
  if (sockets_ && (isFlip(fault.kind) || fault.kind == FaultKind::stall)) {
    sockets_->limits.connect = sockets_->limits.silence = std::chrono::milliseconds(50);
  }
  person_.way = [this](std::unique_ptr<ByteStream> redirect) {
    return exchange_.faulty.contains(Peer::browser) ? overWire(std::move(redirect), wire_)
                                                    : std::move(redirect);
  };
  for (const char* key : {secretKey::imapPassword, secretKey::smtpPassword, secretKey::llmAPIKey}) {
    storage_.writeSecret("word", key);
  }
  secrets_.invalidateSecretCaches();
  configStore_.setConfig(config());
  signIn();
}

std::string FaultWorld::addressOf(Peer peer, const sandbox::LoopbackHttpServer& server) {
  if (!exchange_.faulty.contains(peer)) return server.baseURL();
  relays_.push_back(
      std::make_unique<FaultyRelay>(server.port(), wire_, [this] { http_.fallSilent(); }));
  return relays_.back()->baseURL();
}

Endpoints FaultWorld::endpoints() {
  const std::string google = addressOf(Peer::google, servers_.googleServer);
  const std::string microsoft = addressOf(Peer::microsoft, servers_.microsoftServer);
  return {.google = google,
          .googleAccounts = google,
          .googleToken = google,
          .microsoftLogin = microsoft,
          .graph = microsoft,
          .salesforceLogin = addressOf(Peer::salesforce, servers_.salesforceServer),
          .dataverse = addressOf(Peer::dataverse, servers_.dataverseServer)};
}

AppConfig FaultWorld::config() {
  AppConfig config;
  config.rules = rules();
  config.customAutomations = {chain()};
  config.crmConnectionProfiles = connections();
  config.mailAccounts = {
      {.id = "imap",
       .displayLabel = "Kim",
       .kind = IMAPConnection{"imap.x", 143, false, "kim", ""}},
      {.id = "gmail", .displayLabel = sandbox::GoogleAccount{}.email, .kind = GoogleGmail{}},
      {.id = "graph", .displayLabel = sandbox::MicrosoftAccount{}.email, .kind = MicrosoftGraph{}}};
  config.smtpHost = "smtp.x";
  config.smtpPort = 25;
  config.smtpUseStartTLS = false;
  config.dataverseEnvironmentURL = sandbox::DataverseStandIn::environment;
  config.llmBaseURL = addressOf(Peer::model, model_) + "/v1";
  return config;
}

// Each access token is about to expire, so that a pass begins with a refresh.
void FaultWorld::signIn() {
  const auto soon = clock_.now() + std::chrono::seconds(1);
  const auto google = servers_.google.signIn();
  const auto microsoft = servers_.microsoft.signIn();
  const auto salesforce = servers_.salesforce.signIn();
  providers_.credentials().saveCredential(
      {.accessToken = google.accessToken, .refreshToken = google.refreshToken, .expiresAt = soon},
      "gmail");
  providers_.credentials().saveCredential({.accessToken = microsoft.accessToken,
                                           .refreshToken = microsoft.refreshToken,
                                           .expiresAt = soon},
                                          "graph");
  providers_.salesforceCredentials().saveSalesforceCredential(
      {salesforce.accessToken, salesforce.refreshToken, soon,
       std::string(defaultSalesforceLoginHost), endpoints_.salesforceLogin},
      std::nullopt);
}

void FaultWorld::deliver() {
  // Multiples of eleven, which no flipped bit turns into each other.
  const std::uint32_t uid = ++delivered_ * 11;
  const std::string number = std::to_string(uid);
  const std::string text = sandbox::simpleMessage(idOf(uid), "Hello " + number, "Text.");
  const TimePoint now = clock_.now();
  if (arrivesAt("imap")) {
    const std::lock_guard held(mailLock_);
    imap_.messages[uid].text = text;
  } else if (arrivesAt("gmail")) {
    providerIds_.push_back(servers_.google.deliver(text, {"INBOX", "UNREAD"}, now));
  } else {
    providerIds_.push_back(servers_.microsoft.deliver(text, {.received = now}));
  }
}

StreamConnector& FaultWorld::mailConnector() {
  if (!exchange_.faulty.contains(Peer::mailServer)) return mailServers_;
  if (exchange_.carrier == Carrier::memory) return faultyMailServers_;
  const bool encrypts = exchange_.carrier == Carrier::tls;
  return sockets_.emplace(imap_, smtp_, mailLock_, wire_, encrypts, context_.get_executor());
}

AppServices FaultWorld::services() {
  return {.sync = {.main = context_.get_executor(),
                   .io = context_.get_executor(),
                   .connector = mailConnector(),
                   .secrets = secrets_,
                   .clock = clock_,
                   .log = log_,
                   .providers = &providers_.sync()},
          .configStore = configStore_,
          .processed = processed_,
          .http = http_,
          .notifications = *this,
          .providers = &providers_.mail(),
          .crm = providers_.crm(),
          .meetings = &providers_.meetings(),
          .credentials = &providers_.credentials(),
          .presenter = *this,
          .observer = *this,
          .onlyMailbox = exchange_.mailbox};
}

void FaultWorld::pass() {
  runTask(context_, state_.runOnce([](const MailAccount&, PassResult) {}, {}));
}

bool FaultWorld::isSeen(const std::string& providerId) const {
  return arrivesAt("gmail") ? !servers_.google.isUnread(providerId)
                            : servers_.microsoft.isRead(providerId);
}

std::set<std::string> FaultWorld::messages() const {
  std::set<std::string> ids;
  for (std::uint32_t number = 1; number <= delivered_; ++number) ids.insert(idOf(number * 11));
  return ids;
}

std::set<std::string> FaultWorld::seen() const {
  const std::lock_guard held(mailLock_);
  std::set<std::string> ids;
  for (const auto& [uid, message] : imap_.messages) {
    if (message.seen) ids.insert(idOf(uid));
  }
  for (std::uint32_t i = 0; i < providerIds_.size(); ++i) {
    if (isSeen(providerIds_[i])) ids.insert(idOf((i + 1) * 11));
  }
  return ids;
}

void FaultWorld::heal() {
  wire_.heal();
  http_.patience.reset();
  for (const auto& relay : relays_) relay->dropAll();
  if (!sockets_) return;
  sockets_->limits = {};
  sockets_->dropAll();
}

std::string FaultWorld::signInByBrowser() {
  Task<void> signingIn = signInAtProvider();
  try {
    runTask(context_, std::move(signingIn));
    return "";
  } catch (const std::exception& error) {
    return error.what();
  }
}

Task<void> FaultWorld::signInAtProvider() {
  const std::string_view provider = exchange_.mailbox;
  if (provider == "gmail") {
    person_.page = [this](const auto& request) { return servers_.google(request); };
    auto signingIn = providers_.signIn().signInGoogle("gmail", {}, {});
    co_await std::move(signingIn);
  } else if (provider == "graph") {
    person_.page = [this](const auto& request) { return servers_.microsoft(request); };
    auto signingIn = providers_.signIn().signInMicrosoft(configStore_.config(), "graph", {}, {});
    co_await std::move(signingIn);
  } else {
    person_.page = [this](const auto& request) { return servers_.salesforce(request); };
    auto signingIn = providers_.salesforceSignIn().signInSalesforce(
        "sf", std::string(defaultSalesforceLoginHost), {}, {});
    co_await std::move(signingIn);
  }
}

std::string FaultWorld::credential() {
  const bool salesforce = exchange_.faulty.contains(Peer::salesforce);
  return storage_
      .readSecret(salesforce ? secretKey::salesforceCredential("sf")
                             : secretKey::oauthCredential(exchange_.mailbox))
      .value_or("");
}

std::set<std::string> FaultWorld::recorded() const {
  const auto file = files_.contents.find("/data/processed-ids.json");
  std::set<std::string> ids;
  if (file == files_.contents.end()) return ids;
  for (const std::string key : json::parse(file->second)) {
    ids.insert(key.substr(key.find('\x1e') + 1));
  }
  return ids;
}

std::map<std::string, int> FaultWorld::sent() const {
  const std::lock_guard held(mailLock_);
  std::map<std::string, int> count;
  const auto add = [&](const char* what, const std::string& text) {
    ++count[what + (" of " + idOf(messageIn(text)))];
  };
  for (const auto& message : smtp_.accepted) add("forward", message.data);
  for (const std::string& raw : servers_.google.sentMail()) add("forward", raw);
  for (const json& message : servers_.microsoft.sentMail()) add("forward", message.dump());
  for (const json& lead : servers_.dataverse.leads()) add("Dynamics lead", lead.dump());
  for (const json& lead : servers_.salesforce.leads()) add("Salesforce lead", lead.dump());
  return count;
}

}  // namespace halcyra

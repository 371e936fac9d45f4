// Everything the program does, well and badly, and then a search for every secret.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "ProviderWorld.h"
#include "RawServer.h"
#include "SignInPages.h"
#include "sandbox/SampleMail.h"
#include "sandbox/SubmissionServer.h"
#include "support/FileContent.h"
#include "support/Journal.h"
#include "support/KeyringSession.h"
#include "support/OwnMounts.h"
#include "text/Base64.h"
#include "text/PercentEncoding.h"
#include "text/WithoutSecrets.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
namespace fs = std::filesystem;

// What others on the machine can see of a process and its children.
std::string shownBy(const std::string& process) {
  const fs::path place = fs::path("/proc") / process;
  std::string text = contentOf(place / "cmdline") + contentOf(place / "environ");
  std::istringstream children(contentOf(place / "task" / process / "children"));
  for (std::string child; children >> child;) text += shownBy(child);
  return text;
}

constexpr const char* googleSecret = "google/Client+7q";
constexpr const char* salesforceSecret = "sales/Client+4w";

std::vector<std::string> writtenForms(const std::string& secret) {
  const std::string quoted = json(secret).dump();
  return {secret, encodeBase64(secret), encodeBase64(std::string("\0kim\0", 5) + secret),
          percentEncoded(secret), quoted.substr(1, quoted.size() - 2)};
}

// The words of a server that repeats what it was sent.
std::string echoOf(const std::string& secret) {
  std::string text = "Bad:";
  for (const std::string& form : writtenForms(secret)) text += " " + form;
  return text;
}

std::string jsonEchoOf(const std::string& secret) {
  return json{{"error", {{"message", echoOf(secret)}}}}.dump();
}

class Secrecy : public testing::Test, protected ProviderWorld {
 protected:
  Secrecy()
      : ProviderWorld({.clientSecret = googleSecret}, {.clientSecret = salesforceSecret}),
        secrets{password, "damson/4Kp+", "sk-rQ7w\"9", googleSecret, salesforceSecret} {
    home.environment["PATH"] = home.folder().string();  // has no xdg-open
    home.addMailbox({.id = "m", .label = "kim@x.org", .port = dovecot.port(), .user = "kim"});
    home.settings["mailAccounts"].back()["outgoingSMTP"] = {{"host", "127.0.0.1"},
                                                            {"port", submission.port()},
                                                            {"useStartTLS", false},
                                                            {"username", "kim"}};
    home.settings["llmBaseURL"] = spy.baseURL() + "/v1";
    home.settings["llmModel"] = "m";
    home.settings["dataverseEnvironmentURL"] = sandbox::DataverseStandIn::environment;
    home.addSalesforceConnection("sf");
    home.addDynamicsConnection("dyn", "o", sandbox::DataverseStandIn::environment);
    home.addRule("chain", "Chain", "Chains.", "runCustomAutomation");
    home.settings["rules"].back()["customAutomationId"] = "a";
    home.settings["customAutomations"] = {
        {{"id", "a"},
         {"displayName", "A"},
         {"steps",
          {{{"id", "1"}, {"kind", "createSalesforceLead"}, {"connectionId", "sf"}},
           {{"id", "2"}, {"kind", "createDynamicsLead"}, {"connectionId", "dyn"}}}}}};
    home.save();
    storePasswords();
  }

  void storePasswords() const {
    home.storeSecret("imap.password", secrets[0]);
    home.storeSecret("smtp.password.account.m", secrets[1]);
    home.storeSecret("llm.apiKey", secrets[2]);
  }

  // From then on secrets are kept by the desktop's service.
  void useKeyring() {
    keyring.emplace();
    home.environment["HALCYRA_KEYCHAIN"] = "secret-service";
    home.environment["DBUS_SESSION_BUS_ADDRESS"] = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    fs::remove(home.dataFolder() / "secrets.json");
    storePasswords();
  }

  // Access tokens that are about to expire, so that new ones are fetched; all begin alike.
  void signInEverywhere() {
    home.storeCredential("g", keep(providers.google.signIn()), 1s);
    home.storeCredential("o", keep(providers.microsoft.signIn()), 1s);
    home.storeSalesforceCredential("sf", keep(providers.salesforce.signIn()),
                                   providers.salesforceServer.baseURL());
  }
  sandbox::IssuedTokens keep(sandbox::IssuedTokens tokens) {
    secrets.push_back(tokens.accessToken);
    secrets.push_back(*tokens.refreshToken);
    return tokens;
  }

  // The authorization code and the PKCE verifier that a provider was shown last.
  void keepProof(const sandbox::StandIn& provider) {
    std::size_t found = 0;
    for (const QueryItem& item : queryItems(provider.lastBody("token"))) {
      if (item.name != "code" && item.name != "code_verifier") continue;
      secrets.push_back(*item.value);
      ++found;
    }
    EXPECT_EQ(found, 2u);
  }

  HttpResponse answer(const sandbox::ServedRequest& request) {
    const std::string key = request.header("Authorization");
    EXPECT_EQ(key, "Bearer " + secrets[2]);
    if (modelEchoes) return {500, {}, jsonEchoOf(secrets[2])};
    const std::string mail = json::parse(request.body)["messages"][1]["content"];
    const std::size_t at = mail.find("Subject: ") + 9;
    return completion(choice(mail.substr(at, mail.find('\n', at) - at), 0.9, "Yes."));
  }

  using Meanwhile = std::function<void(sandbox::ChildProcess&)>;

  // Gives what this run said.
  std::string runCaptured(std::vector<std::string> arguments, int status,
                          const Meanwhile& meanwhile = {}) {
    const mode_t mask = umask(0);
    sandbox::ChildProcess program(withJournal(home.command(arguments)));
    umask(mask);
    if (meanwhile) meanwhile(program);
    program.finishInput();
    std::optional<sandbox::Ending> ending;
    const auto deadline = std::chrono::steady_clock::now() + 120s;
    while (!ending && std::chrono::steady_clock::now() < deadline) {
      const std::string now = shownBy(std::to_string(program.id()));
      if (shown.find(now) == std::string::npos) shown += now;
      ending = program.wait(10ms);
      while (const auto entry = journal.next()) journalled += entry->datagram + entry->file;
    }
    const std::string text = program.output() + program.errors();
    said += text;
    EXPECT_TRUE(ending && ending->status == status) << json(arguments) << text;
    return text;
  }

  // The program finds our journal where it looks for that of the system.
  sandbox::Command withJournal(sandbox::Command command) const {
    if (!isolation) return command;
    const std::string mounts =
        "/bin/mount -t tmpfs none /run && /bin/mkdir -p /run/systemd/journal && "
        ": >/run/systemd/journal/socket && "
        "/bin/mount --bind \"$0\" /run/systemd/journal/socket && exec \"$@\"";
    const std::string before[] = {"unshare", *isolation, "/bin/sh", "-c", mounts, journalPath};
    command.arguments.insert(command.arguments.begin(), std::begin(before), std::end(before));
    return command;
  }

  // A run against a server that repeats the secret; what it says to that.
  void expectMasked(std::vector<std::string> arguments, int status, const std::string& line) {
    const std::string text = runCaptured(std::move(arguments), status);
    const std::size_t told = text.find(line);
    EXPECT_NE(told, text.npos) << line << text;
    EXPECT_NE(text.substr(told, text.find('\n', told) - told).find("Bad: ***"), text.npos) << text;
  }

  void deliverEverywhere(const std::string& number) {
    dovecot.deliver("kim", sandbox::simpleMessage("<m" + number + "@x>", "forward", "Text."));
    toGmail("<g" + number + "@x>", "forward");
    toOutlook("<o" + number + "@x>", "chain");
  }

  void expectNoSecretIn(const std::string& text, const std::string& where) const {
    for (const std::string& secret : secrets) {
      for (const std::string& form : writtenForms(secret)) {
        EXPECT_EQ(text.find(form), std::string::npos) << form << " in " << where;
      }
    }
    EXPECT_EQ(withoutSecrets(text, secrets), text) << where;
    EXPECT_FALSE(holdsToken(text)) << where;
  }

  void TearDown() override {
    expectNoSecretIn(said, "what was said");
    expectNoSecretIn(journalled, "the journal");
    EXPECT_EQ(journalled.find("MESSAGE=[Halcyra] ") != std::string::npos, isolation.has_value());
    if (!isolation) std::cout << "note: no journal to search, since this user may not mount\n";
    EXPECT_NE(shown.find("monitor"), std::string::npos);
    expectNoSecretIn(shown, "arguments and environment");
    EXPECT_NE(fs::exists(home.dataFolder() / "secrets.json"), keyring.has_value());
    EXPECT_EQ(fs::status(home.dataFolder()).permissions(), fs::perms(0700));
    for (const auto& entry : fs::recursive_directory_iterator(home.folder())) {
      if (!entry.is_regular_file()) continue;
      const fs::path& file = entry.path();
      const bool isOurs = file.parent_path() == home.dataFolder();
      EXPECT_TRUE(!isOurs || entry.status().permissions() == fs::perms(0600)) << file;
      const bool mayHold = file.filename() == "secrets.json" || file.filename() == "Info.json";
      if (!mayHold) expectNoSecretIn(contentOf(file), file);
    }
  }

  std::vector<std::string> secrets;
  std::optional<KeyringSession> keyring;
  std::atomic<bool> modelEchoes = false;
  std::string shown;  // by processes
  std::string said;   // on standard output and error
  std::string journalled;
  const std::optional<std::string> isolation = ownMounts();
  const std::string journalPath = (home.folder() / "journal").string();
  Journal journal{journalPath};
  sandbox::DovecotServer dovecot{{.users = {{"kim", password}}}};
  sandbox::SubmissionServer submission{{.users = {{"kim", "damson/4Kp+"}}}};
  sandbox::LoopbackHttpServer spy{[this](const auto& request) { return answer(request); }};
};

class SecrecyOfWhatWorks : public Secrecy, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Keychains, SecrecyOfWhatWorks, testing::Values("file", "service"),
                         [](const auto& each) { return std::string(each.param); });

TEST_P(SecrecyOfWhatWorks, NoSecretIsTold) {
  if (std::string_view(GetParam()) == "service") useKeyring();
  signInEverywhere();
  deliverEverywhere("1");
  runCaptured({"config", "set", "llmModel", "n"}, 0);
  const std::string good = runCaptured({"monitor", "--once", "--json"}, 0);
  for (const char* id : {"<m1@x>", "<g1@x>", "<o1@x>"}) {
    EXPECT_NE(good.find(id), std::string::npos) << good;
  }
  EXPECT_EQ(submission.received().size(), 1u) << good;
  EXPECT_EQ(providers.google.sentMail().size(), 1u) << good;
  EXPECT_EQ(providers.dataverse.leads().size(), 1u) << good;
  EXPECT_EQ(providers.salesforce.leads().size(), 1u) << good;

  const std::string mail = (home.folder() / "mail.eml").string();
  std::ofstream(mail) << sandbox::simpleMessage("<lead@x>", "chain", "How much?");
  const std::vector<std::string> commands[] = {
      {"secret", "list"},
      {"config", "show"},
      {"config", "check"},
      {"mailbox", "list"},
      {"mailbox", "test"},
      {"connection", "list"},
      {"agenda", "--mailbox", "g"},
      {"meeting-context", "--mailbox", "o"},
      {"classify", mail},
      {"classify", mail, "--show-prompt"},
      {"suggest", mail, "--mailbox", "m"},
      {"lead", mail, "--dry-run"},
      {"lead", mail, "--connection", "sf"},
      {"automation", "run", "a", mail, "--mailbox", "o"},
      {"send-test", "--mailbox", "m", "--to", "a@y.org"},
      {"send-test", "--mailbox", "g", "--to", "a@y.org"},
  };
  for (const auto& command : commands) runCaptured(command, 0);
}

TEST_F(Secrecy, WhatServersRepeatIsMasked) {
  signInEverywhere();
  deliverEverywhere("1");
  modelEchoes = true;
  expectMasked({"monitor", "--once"}, 0, "LLM error: ");
  modelEchoes = false;
  for (const bool refreshes : {true, false}) {
    const auto echo = [&](const sandbox::IssuedTokens& tokens, const std::string& more) {
      const std::string& sent = refreshes ? *tokens.refreshToken : tokens.accessToken;
      return HttpResponse{401, {}, jsonEchoOf(sent) + more};
    };
    const auto google = keep(providers.google.signIn());
    const auto microsoft = keep(providers.microsoft.signIn());
    home.storeCredential("g", google, refreshes ? 1s : 1h);
    home.storeCredential("o", microsoft, refreshes ? 1s : 1h);
    const char* kind = refreshes ? "token" : "list";
    providers.google.answerNext(kind, echo(google, refreshes ? echoOf(googleSecret) : ""));
    expectMasked({"monitor", "--once", "--mailbox", "g"}, 1, "Gmail sync (");
    providers.microsoft.answerNext(kind, echo(microsoft, ""));
    expectMasked({"monitor", "--once", "--mailbox", "o"}, refreshes ? 1 : 0,
                 refreshes ? "Graph sync (" : "Graph inbox list failed");  // which is tried anew
  }
  toOutlook("<o3@x>", "chain");
  const auto salesforce = keep(providers.salesforce.signIn());
  home.storeSalesforceCredential("sf", salesforce, providers.salesforceServer.baseURL());
  const std::string words = echoOf(*salesforce.refreshToken) + echoOf(salesforceSecret);
  providers.salesforce.answerNext("token", {401, {}, json{{"error_description", words}}.dump()});
  expectMasked({"monitor", "--once", "--mailbox", "o"}, 0, "Salesforce lead failed: ");

  RawServer imap([&](RawConnection& peer) {
    peer.send("* OK\r\n");
    const std::string login = peer.line();
    peer.send("E1 NO " + echoOf(password) + " in " + login + "\r\n");
  });
  RawServer smtp([&](RawConnection& peer) {
    for (const char* reply : {"220 x\r\n", "250 x\r\n", "334 x\r\n", "334 x\r\n"}) {
      peer.send(reply);
      peer.line();
    }
    peer.send("535 " + echoOf(secrets[1]) + "\r\n");
  });
  home.settings["mailAccounts"].back()["kind"]["imap"]["port"] = imap.port();
  home.settings["mailAccounts"].back()["outgoingSMTP"]["port"] = smtp.port();
  home.save();
  runCaptured({"config", "set", "llmModel", "n"}, 0);  // writes the file anew
  expectMasked({"monitor", "--once", "--mailbox", "m"}, 1, "IMAP (kim@x.org): ");
  expectMasked({"mailbox", "test", "m"}, 1, "E1 NO");
  expectMasked({"send-test", "--mailbox", "m", "--to", "a@y.org"}, 1, "535 ");
}

TEST_F(Secrecy, SignInsTellNoSecret) {
  const std::vector<std::string> signIns[] = {{"signin", "google", "--mailbox", "g"},
                                              {"signin", "microsoft", "--mailbox", "o"},
                                              {"signin", "salesforce", "--connection", "sf"}};
  const auto allow = [](sandbox::ChildProcess& program) {
    opened(printedAddress(program) + "&decision=allow");
  };
  providers.google.answerNext("token", {400, {}, jsonEchoOf(googleSecret)});
  const sandbox::StandIn* const signedInAt[] = {&providers.google, &providers.microsoft,
                                                &providers.salesforce};
  runCaptured(signIns[0], 1, allow);
  keepProof(providers.google);
  for (std::size_t i = 0; i < std::size(signIns); ++i) {
    runCaptured(signIns[i], 0, allow);
    keepProof(*signedInAt[i]);
  }
  toOutlook("<o1@x>", "chain");
  runCaptured({"monitor", "--once"}, 0);
  EXPECT_EQ(providers.salesforce.leads().size(), 1u) << said;
  EXPECT_EQ(providers.dataverse.leads().size(), 1u) << said;
  for (auto command : signIns) {
    command[0] = "signout";
    runCaptured(command, 0);
  }
}

}  // namespace
}  // namespace halcyra

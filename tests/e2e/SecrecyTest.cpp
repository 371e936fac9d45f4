// Everything the program does, well and badly, and then a search for every secret.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <mutex>

#include "ProviderWorld.h"
#include "sandbox/SampleMail.h"
#include "sandbox/SubmissionServer.h"
#include "support/FileContent.h"
#include "text/Base64.h"
#include "text/PercentEncoding.h"

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

class Secrecy : public testing::Test, protected ProviderWorld {
 protected:
  Secrecy() {
    home.addMailbox({.id = "m", .label = "kim@x.org", .port = dovecot.port(), .user = "kim"});
    home.settings["mailAccounts"].back()["outgoingSMTP"] = {{"host", "127.0.0.1"},
                                                            {"port", submission.port()},
                                                            {"useStartTLS", false},
                                                            {"username", "kim"}};
    home.settings["llmBaseURL"] = spy.baseURL() + "/v1";
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
    secrets = {password, "damson/4Kp+", "sk-rQ7w\"9"};
    home.storeSecret("smtp.password.account.m", secrets[1]);
    home.storeSecret("llm.apiKey", secrets[2]);
    // Access tokens that are about to expire, so that new ones are fetched; all begin alike.
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

  HttpResponse answer(const sandbox::ServedRequest& request) {
    while (running == 0) std::this_thread::yield();
    shown += shownBy(std::to_string(running));
    const std::string key = request.header("Authorization");
    EXPECT_EQ(key, "Bearer " + secrets[2]);
    if (modelEchoes) return {500, {}, json{{"error", {{"message", "Bad key " + key}}}}.dump()};
    const std::string mail = json::parse(request.body)["messages"][1]["content"];
    const std::size_t at = mail.find("Subject: ") + 9;
    return completion(choice(mail.substr(at, mail.find('\n', at) - at), 0.9));
  }

  // Gives what this run said.
  std::string runCaptured(std::vector<std::string> arguments, int status) {
    running = 0;
    sandbox::ChildProcess program(home.command(std::move(arguments)));
    running = program.id();
    program.finishInput();
    const auto ending = program.wait(60s);
    const std::string text = program.output() + program.errors();
    said += text;
    EXPECT_TRUE(ending && ending->status == status) << text;
    return text;
  }

  void deliverEverywhere(const std::string& number) {
    dovecot.deliver("kim", sandbox::simpleMessage("<m" + number + "@x>", "forward", "Text."));
    toGmail("<g" + number + "@x>", "forward");
    toOutlook("<o" + number + "@x>", "chain");
  }

  void expectNoSecretIn(const std::string& text, const std::string& where) const {
    for (const std::string& secret : secrets) {
      const std::string quoted = json(secret).dump();
      for (const std::string& form :
           {secret, encodeBase64(secret), quoted.substr(1, quoted.size() - 2),
            percentEncoded(secret)}) {
        EXPECT_EQ(text.find(form), std::string::npos) << form << " in " << where;
      }
    }
    EXPECT_FALSE(holdsToken(text)) << where;
  }

  std::vector<std::string> secrets;
  std::atomic<pid_t> running = 0;
  std::atomic<bool> modelEchoes = false;
  std::string shown;  // by processes
  std::string said;   // on standard output and error
  sandbox::DovecotServer dovecot{{.users = {{"kim", password}}}};
  sandbox::SubmissionServer submission{{.users = {{"kim", "damson/4Kp+"}}}};
  sandbox::LoopbackHttpServer spy{[this](const auto& request) { return answer(request); }};
};

TEST_F(Secrecy, NoSecretIsToldShownOrLeftLyingAbout) {
  runCaptured({"config", "set", "llmModel", "m"}, 0);
  deliverEverywhere("1");
  const std::string good = runCaptured({"monitor", "--once", "--json"}, 0);
  for (const char* id : {"<m1@x>", "<g1@x>", "<o1@x>"}) {
    EXPECT_NE(good.find(id), std::string::npos) << good;
  }
  EXPECT_EQ(submission.received().size(), 1u) << good;
  EXPECT_EQ(providers.google.sentMail().size(), 1u) << good;
  EXPECT_EQ(providers.dataverse.leads().size(), 1u) << good;
  EXPECT_EQ(providers.salesforce.leads().size(), 1u) << good;

  // Each peer repeats what it was sent.
  deliverEverywhere("2");
  modelEchoes = true;
  runCaptured({"monitor", "--once"}, 0);
  modelEchoes = false;
  home.storeSecret("smtp.password.account.m", secrets.emplace_back("wrong-3Jd"));
  for (const bool refreshes : {true, false}) {
    const auto echo = [&](const sandbox::IssuedTokens& tokens) {
      const std::string& sent = refreshes ? *tokens.refreshToken : tokens.accessToken;
      return HttpResponse{401, {}, json{{"error", {{"message", "Bad: " + sent}}}}.dump()};
    };
    const auto google = keep(providers.google.signIn());
    const auto microsoft = keep(providers.microsoft.signIn());
    home.storeCredential("g", google, refreshes ? 1s : 1h);
    home.storeCredential("o", microsoft, refreshes ? 1s : 1h);
    providers.google.answerNext(refreshes ? "token" : "list", echo(google));
    providers.microsoft.answerNext(refreshes ? "token" : "list", echo(microsoft));
    const std::string bad = runCaptured({"monitor", "--once"}, 1);
    EXPECT_NE(bad.find("Forward failed: Expected 235"), std::string::npos) << bad;
    for (const char* line :
         {"Gmail sync (", refreshes ? "Graph sync (" : "Graph inbox list failed"}) {
      const std::size_t told = bad.find(line);
      EXPECT_NE(bad.substr(told, bad.find('\n', told) - told).find("Bad: ***"), bad.npos) << bad;
    }
  }
  toOutlook("<o3@x>", "chain");
  const auto salesforce = keep(providers.salesforce.signIn());
  home.storeSalesforceCredential("sf", salesforce, providers.salesforceServer.baseURL());
  providers.salesforce.answerNext("token",
                                  {401, {}, "{\"e\":\"" + *salesforce.refreshToken + "\"}"});
  const std::string bad = runCaptured({"monitor", "--once"}, 0);
  EXPECT_NE(bad.find("Salesforce lead failed: "), std::string::npos) << bad;
  runCaptured({"secret", "list"}, 0);
  runCaptured({"config", "show"}, 0);
  runCaptured({"mailbox", "list"}, 0);
  runCaptured({"mailbox", "test", "m"}, 0);

  expectNoSecretIn(said, "what was said");
  EXPECT_NE(shown.find("monitor"), std::string::npos);
  expectNoSecretIn(shown, "arguments and environment");
  EXPECT_EQ(fs::status(home.dataFolder()).permissions(), fs::perms(0700));
  for (const auto& entry : fs::recursive_directory_iterator(home.folder())) {
    if (!entry.is_regular_file()) continue;
    const fs::path& file = entry.path();
    const bool isOurs = file.parent_path() == home.dataFolder();
    EXPECT_TRUE(!isOurs || entry.status().permissions() == fs::perms(0600)) << file;
    if (file.filename() != "secrets.json") expectNoSecretIn(contentOf(file), file);
  }
}

}  // namespace
}  // namespace halcyra

// Signing a mailbox in from the command to the stored tokens, with and without a browser.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "ProviderWorld.h"
#include "SignInPages.h"
#include "support/FileContent.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using sandbox::ChildProcess;
using sandbox::LoopbackHttpServer;

constexpr std::uint16_t redirectPort = 18876;
constexpr const char* successPage = "Sign-in complete. You can close this window.";

struct Provider {
  const char* name;
  const char* title;
  const char* mailbox;
  const char* address;
};
constexpr Provider allProviders[] = {
    {"google", "Google", "g", ProviderWorld::gmailAddress},
    {"microsoft", "Microsoft", "o", ProviderWorld::outlookAddress},
};

class SignInRun : public testing::Test {
 protected:
  SignInRun() {
    std::filesystem::create_directory(tools());
    world.home.environment["PATH"] = tools().string();  // has no xdg-open
    for (auto& account : world.home.settings["mailAccounts"]) account["displayLabel"] = "Mine";
    world.home.save();
  }

  std::filesystem::path tools() const { return world.home.folder() / "tools"; }

  sandbox::Command signIn(const Provider& provider) const {
    return world.home.command({"signin", provider.name, "--mailbox", provider.mailbox});
  }

  static bool portIsFree() {
    try {
      LoopbackHttpServer taken([](auto&) { return HttpResponse(); }, redirectPort);
      return true;
    } catch (const std::runtime_error&) {
      return false;
    }
  }

  void expectSignedIn(const Provider& provider, const std::string& output,
                      const std::string& errors) {
    EXPECT_EQ(output, std::string(provider.title) + " sign-in saved for this account. It is " +
                          provider.address + ".\n");
    EXPECT_FALSE(ProviderWorld::holdsToken(output + errors)) << errors;
    EXPECT_NE(world.run({"mailbox", "list"}).output.find(provider.address), std::string::npos);
    const std::string secret = "oauth.credential." + std::string(provider.mailbox);
    EXPECT_NE(world.run({"secret", "list"}).output.find(secret), std::string::npos);
    const auto test = world.run({"mailbox", "test", provider.mailbox});
    EXPECT_EQ(test.status, 0) << test.output << test.errors;
    EXPECT_TRUE(portIsFree());
  }

  ProviderWorld world;
};

TEST_F(SignInRun, PrintedAddressLeadsToAStoredSignIn) {
  for (const Provider& provider : allProviders) {
    SCOPED_TRACE(provider.name);
    ChildProcess program(signIn(provider));
    const std::string address = printedAddress(program);
    const std::string question = opened(address);
    EXPECT_NE(question.find("id=\"allow\""), std::string::npos) << question;
    EXPECT_NE(opened(address + "&decision=allow").find(successPage), std::string::npos);
    const auto ending = program.wait(20s);
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->status, 0) << program.errors();
    expectSignedIn(provider, program.output(), program.errors());
    world.run({"signout", provider.name, "--mailbox", provider.mailbox});
    EXPECT_EQ(world.run({"secret", "list"}).output.find("oauth."), std::string::npos);
  }
}

TEST_F(SignInRun, ADenialIsToldInTheProvidersWords) {
  for (const Provider& provider : allProviders) {
    SCOPED_TRACE(provider.name);
    ChildProcess program(signIn(provider));
    opened(printedAddress(program) + "&decision=deny");
    const auto ending = program.wait(20s);
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->status, 1);
    EXPECT_EQ(program.output(), "");
    EXPECT_NE(program.errors().find("halcyra-cli: The person refused access.\n"), std::string::npos)
        << program.errors();
    EXPECT_EQ(world.run({"secret", "list"}).output.find("oauth."), std::string::npos);
  }
}

TEST_F(SignInRun, CtrlCEndsItAndFreesThePort) {
  ChildProcess program(signIn(allProviders[0]));
  ASSERT_TRUE(printedAddress(program).starts_with("http://127.0.0.1:"));
  EXPECT_FALSE(portIsFree());
  const auto second = world.run({"signin", "microsoft", "--mailbox", "o"});
  EXPECT_EQ(second.status, 1);
  EXPECT_EQ(second.errors,
            "halcyra-cli: Could not listen on localhost:18876 (Address already in use). Quit other "
            "copies of this app, try again in a few seconds, or free port 18876. Azure/Google "
            "redirect URI must stay http://localhost:18876/oauth.\n");
  program.signal(SIGINT);
  const auto ending = program.wait(20s);
  ASSERT_TRUE(ending);
  EXPECT_EQ(ending->status, 1);
  EXPECT_NE(program.errors().find("Sign-in was cancelled or returned no callback."),
            std::string::npos)
      << program.errors();
  EXPECT_TRUE(portIsFree());
}

TEST_F(SignInRun, WhatChangesMeanwhileInTheSettingsStays) {
  ChildProcess program(signIn(allProviders[0]));
  const std::string address = printedAddress(program);
  ASSERT_EQ(world.run({"config", "set", "llmModel", "another"}).status, 0);
  opened(address + "&decision=allow");
  ASSERT_TRUE(program.wait(20s));
  EXPECT_NE(world.run({"config", "show"}).output.find("another"), std::string::npos);
  expectSignedIn(allProviders[0], program.output(), program.errors());
}

// Token endpoints that answer a good code badly: nothing is stored, and the words reach the user.
TEST_F(SignInRun, AnExchangeThatFailsStoresNothing) {
  struct Case {
    HttpResponse answer;
    const char* told;
  };
  const Case cases[] = {
      {{400, {}, R"({"error":"invalid_client","error_description":"Who+are+you"})"},
       "invalid_client: Who are you"},
      {{500, {}, ""}, "HTTP 500 from Google token endpoint"},
      {{429, {{"Retry-After", "1"}}, "Slow down"}, "Slow down"},
      {{200, {{"Content-Type", "text/html"}}, "<html>Log in</html>"}, "halcyra-cli: "},
      {{200, {}, R"({"access_token":"ya29.lost)"}, "halcyra-cli: "},
      {{200, {}, std::string(9u << 20, ' ')}, "halcyra-cli: "},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.answer.body.substr(0, 40));
    ChildProcess program(signIn(allProviders[0]));
    const std::string address = printedAddress(program);
    world.providers.google.answerNext("token", each.answer);
    opened(address + "&decision=allow");
    const auto ending = program.wait(20s);
    ASSERT_TRUE(ending);
    EXPECT_EQ(ending->status, 1);
    const std::string last = program.errors().substr(program.errors().find("gives up.\n") + 10);
    EXPECT_NE(last.find(each.told), std::string::npos) << last;
    EXPECT_EQ(std::ranges::count(last, '\n'), 1) << last;
    EXPECT_FALSE(ProviderWorld::holdsToken(program.output() + program.errors())) << last;
    EXPECT_EQ(world.run({"secret", "list"}).output.find("oauth."), std::string::npos);
  }
}

/// Ends a process of ours that another one started.
void endProcess(pid_t id) {
  const int process = static_cast<int>(syscall(SYS_pidfd_open, id, 0));
  if (process < 0) return;  // it has ended
  pollfd ended{process, POLLIN, 0};
  if (poll(&ended, 1, 20000) == 0) kill(id, SIGKILL);
  close(process);
}

// The page, its click, the redirect and the program's answer in Chromium, which reaches nothing
// but this machine. It prints the page that it shows in the end.
TEST_F(SignInRun, ABrowserThatXdgOpenStartsSignsIn) {
  const auto shown = tools() / "shown.html";
  const auto process = tools() / "process";
  std::ofstream(tools() / "xdg-open")
      << "#!/bin/sh\nexport PATH=/usr/local/bin:/usr/bin:/bin HOME=" << tools().string()
      << "\necho $$ >" << process.string()
      << "\nexec chromium --headless=new --no-sandbox --disable-gpu --no-first-run"
         " --disable-background-networking --disable-component-update --disable-sync"
         " --host-resolver-rules='MAP * ~NOTFOUND, EXCLUDE localhost, EXCLUDE 127.0.0.1'"
         " --virtual-time-budget=20000 --dump-dom --user-data-dir="
      << (tools() / "profile").string() << " \"$1&autoclick=allow\" >" << shown.string() << " 2>"
      << (tools() / "chromium.log").string() << "\n";
  std::filesystem::permissions(tools() / "xdg-open", std::filesystem::perms::owner_all);
  for (const Provider& provider : allProviders) {
    SCOPED_TRACE(provider.name);
    ChildProcess program(signIn(provider));
    const auto ending = program.wait(60s);
    ASSERT_TRUE(std::filesystem::exists(process)) << program.errors();
    endProcess(std::stoi(contentOf(process)));
    ASSERT_TRUE(ending) << program.errors() << contentOf(tools() / "chromium.log");
    EXPECT_EQ(ending->status, 0) << program.errors();
    EXPECT_TRUE(program.errors().starts_with("Sign in in the browser.")) << program.errors();
    EXPECT_NE(contentOf(shown).find(successPage), std::string::npos) << contentOf(shown);
    expectSignedIn(provider, program.output(), program.errors());
  }
}

}  // namespace
}  // namespace halcyra

#include <gtest/gtest.h>

#include "World.h"
#include "app/AppState.h"
#include "app/Composition.h"
#include "platform/linux/SocketConnector.h"
#include "platform/linux/SystemClock.h"
#include "support/LeadWorld.h"
#include "support/MemoryFiles.h"
#include "support/MemoryKeychain.h"
#include "support/ModelDouble.h"
#include "support/RecordingLog.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;

struct NobodyLooks : TriageObserver, SuggestionPresenter, Notifications {
  void decided(const TriageDecision&) override {}
  void present(Suggestion) override {}
  Task<bool> post(std::string, std::string) override { co_return true; }
};

MailAccount mailbox(const std::string& user, const sandbox::DovecotServer& server) {
  return {.id = user,
          .displayLabel = user,
          .kind = IMAPConnection{.host = "127.0.0.1",
                                 .port = server.port(),
                                 .useTLS = false,
                                 .username = user,
                                 .mailbox = "INBOX"}};
}

TEST(LiveSwitch, AMailboxSwitchedOffWhileItIdlesStopsAndTheOtherGoesOn) {
  sandbox::DovecotServer server({.users = {{"ann", password}, {"bob", password}}});
  boost::asio::io_context main;
  MemoryFiles files;
  MemoryKeychain keychain;
  KeychainEnvelopeStorage storage(keychain);
  storage.writeSecret(password, secretKey::imapPassword);
  KeychainHelper secrets(storage, {});
  ConfigStore configStore(files, storage, "/settings");
  ProcessedMessageStore processed(files, "/settings");
  ModelDouble model;
  SystemClock clock;
  RecordingLog log;
  NobodyLooks nobody;
  LeadWorld crm;
  IoThread io;
  SocketConnector connector(io.executor());
  AppConfig config = configStore.config();
  config.mailAccounts = {mailbox("ann", server), mailbox("bob", server)};
  configStore.setConfig(config);
  AppState state({.sync = {main.get_executor(), io.executor(), connector, secrets, clock, log},
                  .configStore = configStore,
                  .processed = processed,
                  .http = model,
                  .notifications = nobody,
                  .crm = crm.clients(),
                  .presenter = nobody,
                  .observer = nobody});
  const auto within = [&](std::chrono::seconds longest, const auto& condition) {
    const auto deadline = std::chrono::steady_clock::now() + longest;
    while (!condition() && std::chrono::steady_clock::now() < deadline) main.run_for(20ms);
    return condition();
  };

  EXPECT_EQ(state.statusMessage(), "Idle");
  state.startMonitoring();
  state.startMonitoring();
  EXPECT_EQ(state.statusMessage(), "Monitoring…");
  ASSERT_TRUE(within(20s, [&] { return server.idles("ann") && server.idles("bob"); }));

  config.mailAccounts[0].enabled = false;
  configStore.setConfig(config);
  EXPECT_TRUE(within(7s, [&] { return !server.idles("ann"); }));
  EXPECT_TRUE(server.idles("bob"));

  state.stopMonitoring();
  EXPECT_EQ(state.statusMessage(), "Stopped");
  bool ended = false;
  boost::asio::co_spawn(main, state.monitoringEnded(), [&](std::exception_ptr) { ended = true; });
  EXPECT_TRUE(within(10s, [&] { return ended; }));
  EXPECT_TRUE(eventually([&] { return !server.idles("bob"); }, 5s));
  EXPECT_TRUE(log.lines().empty()) << log.lines().front();
}

}  // namespace
}  // namespace halcyra

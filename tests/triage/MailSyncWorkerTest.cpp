#include "triage/MailSyncWorker.h"

#include "PipelineHarness.h"
#include "support/MemoryKeychain.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using Hosts = std::vector<std::string>;

/// Notes who was called and refuses; a held host stays in the middle of connecting.
class RefusingConnector : public StreamConnector {
 public:
  explicit RefusingConnector(ManualClock& clock) : clock_(clock) {}

  Task<std::unique_ptr<ByteStream>> connect(Endpoint endpoint) override {
    called.push_back(endpoint.host);
    if (endpoint.host == held) co_await clock_.sleep(1h, {});
    throw StreamError("refused");
  }

  Hosts called;
  std::string held;

 private:
  ManualClock& clock_;
};

MailAccount imapAccount(const std::string& id) {
  return {.id = id,
          .displayLabel = "Box " + id,
          .kind = IMAPConnection{.host = id + ".example", .username = "u", .mailbox = ""}};
}

struct WorkerHarness : PipelineHarness {
  WorkerHarness() {
    config.mailAccounts = {imapAccount("a"), imapAccount("b")};
    config.pollingIntervalSeconds = 60;
    storage.writeSecret("pw", secretKey::imapPassword);
    worker = std::make_shared<MailSyncWorker>(
        SyncServices{context.get_executor(), context.get_executor(), connector, secrets, clock,
                     log},
        [this] {
          ++processorsMade;
          return std::make_shared<EmailProcessor>(
              TriageServices{store, underWay, *this, model, clock, log, *this, *this});
        });
  }
  ~WorkerHarness() override {
    worker->stop();
    settle();
  }

  void start() {
    worker->start([this] { return config; }, [this] { return secrets.secretsSnapshot(); },
                  [](auto&&...) {});
    settle();
  }

  void settle() {
    context.restart();
    while (context.poll() > 0) context.restart();
  }

  /// The hosts called while time passes, second by second.
  Hosts callsDuring(std::chrono::seconds time) {
    connector.called.clear();
    for (auto passed = 0s; passed < time; passed += 1s) {
      clock.advance(1s);
      settle();
    }
    return connector.called;
  }

  boost::asio::io_context context;
  MemoryKeychain keychain;
  KeychainEnvelopeStorage storage{keychain};
  KeychainHelper secrets{storage, {}};
  RefusingConnector connector{clock};
  std::shared_ptr<MailSyncWorker> worker;
  int processorsMade = 0;
};

TEST(MailSyncWorker, EachMailboxIsPolledAtItsInterval) {
  WorkerHarness h;
  h.start();
  EXPECT_EQ(h.connector.called, (Hosts{"a.example", "b.example"}));
  EXPECT_EQ(h.log.lines(),
            (std::vector<std::string>{"IMAP (Box a): refused", "IMAP (Box b): refused"}));
  EXPECT_EQ(h.callsDuring(59s), Hosts{});
  EXPECT_EQ(h.callsDuring(1s), (Hosts{"a.example", "b.example"}));
}

TEST(MailSyncWorker, ChangesOfTheMailboxListTakeEffectWithinFiveSeconds) {
  WorkerHarness h;
  h.start();
  h.config.mailAccounts[1].enabled = false;
  h.config.mailAccounts.push_back(imapAccount("c"));
  EXPECT_EQ(h.callsDuring(5s), Hosts{"c.example"});
  EXPECT_EQ(h.callsDuring(60s), (Hosts{"a.example", "c.example"})) << "b's loop has ended";

  h.config.mailAccounts[1].enabled = true;
  EXPECT_EQ(h.callsDuring(5s), Hosts{"b.example"});
}

// The loop sees that its mailbox is gone before the coordinator does; it must come back all the
// same.
TEST(MailSyncWorker, MailboxThatIsOffForAMomentOnlyIsPolledAgain) {
  WorkerHarness h;
  h.config.mailAccounts.pop_back();
  h.config.pollingIntervalSeconds = 16;
  h.start();
  EXPECT_EQ(h.callsDuring(15s), Hosts{});
  h.config.mailAccounts[0].enabled = false;
  EXPECT_EQ(h.callsDuring(1s), Hosts{});
  h.config.mailAccounts[0].enabled = true;
  EXPECT_EQ(h.callsDuring(5s), Hosts{"a.example"});
}

TEST(MailSyncWorker, StopEndsSleepingLoopsAtOnceAndStartRunsANewProcessor) {
  WorkerHarness h;
  h.start();
  h.worker->stop();
  h.settle();
  EXPECT_EQ(h.clock.sleepers(), 0u);
  EXPECT_EQ(h.callsDuring(400s), Hosts{});
  h.start();
  EXPECT_EQ(h.connector.called, (Hosts{"a.example", "b.example"}));
  EXPECT_EQ(h.processorsMade, 2);
}

TEST(MailSyncWorker, StartWhileRunningLeavesOneLoopForEachMailbox) {
  WorkerHarness h;
  h.start();
  h.start();
  EXPECT_EQ(h.callsDuring(60s), (Hosts{"a.example", "b.example"}));
}

TEST(MailSyncWorker, FinishedWaitsForAPassUnderWay) {
  WorkerHarness h;
  h.connector.held = "a.example";
  h.start();
  h.worker->stop();
  bool ended = false;
  boost::asio::co_spawn(h.context, h.worker->finished(), [&](std::exception_ptr) { ended = true; });
  h.settle();
  EXPECT_FALSE(ended);
  h.clock.advance(1h);
  h.settle();
  EXPECT_TRUE(ended);
}

TEST(MailSyncWorker, MailboxWithoutPasswordOrHostIsPassedOverSilently) {
  WorkerHarness h;
  h.storage.removeSecret(secretKey::imapPassword);
  h.start();
  EXPECT_EQ(h.connector.called, Hosts{});
  EXPECT_TRUE(h.log.lines().empty());
}

TEST(MailSyncWorker, PollingPauseIsKeptBetween15And300Seconds) {
  for (const auto& [seconds, pause] : std::vector<std::pair<double, std::chrono::milliseconds>>{
           {5, 15s},
           {-1, 15s},
           {15.5, 15500ms},
           {300, 300s},
           {1000, 300s},
           {1e300, 300s},
           {std::numeric_limits<double>::quiet_NaN(), 15s}}) {
    EXPECT_EQ(pollingPause(seconds), pause) << seconds;
  }
}

}  // namespace
}  // namespace halcyra

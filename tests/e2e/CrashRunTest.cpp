// The program is killed at random moments while it forwards mail.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <random>

#include "World.h"
#include "sandbox/SampleMail.h"
#include "sandbox/SubmissionServer.h"
#include "support/LongRun.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr int messagesAMoment = 3;

// HALCYRA_SEED repeats a run as far as the machine's own timing does.
unsigned chosenSeed() {
  const char* given = std::getenv("HALCYRA_SEED");
  return given != nullptr ? static_cast<unsigned>(std::stoul(given)) : std::random_device{}();
}

// True when the program ended by itself before the moment came.
bool endsBefore(const sandbox::ChildProcess& program, std::chrono::nanoseconds moment) {
  const int handle = static_cast<int>(syscall(SYS_pidfd_open, program.id(), 0));
  pollfd waited{handle, POLLIN, 0};
  const timespec longest{moment / 1s, (moment % 1s).count()};
  const bool ended = ppoll(&waited, 1, &longest, nullptr) > 0;
  close(handle);
  return ended;
}

/// A mailbox whose mail is all forwarded.
class ForwardingWorld {
 public:
  ForwardingWorld() {
    world.home.addMailbox({.id = "m", .label = "kim@x.org", .port = server.port(), .user = "kim"});
    world.home.addRule("forward", "Forward", "All.", "forwardSilently");
    world.home.settings["rules"].back()["forwardTo"] = "boss@y.org";
    world.home.settings["smtpHost"] = "127.0.0.1";
    world.home.settings["smtpPort"] = submission.port();
    world.home.settings["smtpUseStartTLS"] = false;
    world.home.settings["smtpUsername"] = "kim";
    world.home.settings["llmBaseURL"] = model.baseURL();
    world.home.save();
    world.home.storeSecret("smtp.password", "plum");
  }

  void deliver() {
    for (int i = 0; i < messagesAMoment; ++i) {
      const std::string id = "<" + std::to_string(++delivered) + "@x>";
      server.deliver("kim", sandbox::simpleMessage(id, "Note " + id, "Text."));
    }
  }

  steady_clock::duration undisturbedPass() {
    deliver();
    const auto started = steady_clock::now();
    EXPECT_EQ(world.onePass().status, 0);
    return steady_clock::now() - started;
  }

  bool killAfter(std::chrono::nanoseconds moment) {
    sandbox::ChildProcess program(world.home.command({"monitor", "--once"}));
    if (endsBefore(program, moment)) return false;
    program.signal(SIGKILL);
    const auto ending = program.wait(60s);
    EXPECT_TRUE(ending);
    return ending && ending->status == 128 + SIGKILL;
  }

  // What holds at any time. Handed out: how often each message went out.
  void check() {
    const auto recorded = world.recorded();
    ASSERT_TRUE(recorded) << "processed-ids.json is no whole file";
    std::ifstream config(world.home.configFile());
    EXPECT_TRUE(nlohmann::json::accept(config));
    for (const auto& [id, flags] : server.flags("kim")) {
      EXPECT_TRUE(flags.find('S') == std::string::npos || recorded->contains(id)) << id;
    }
  }

  std::map<std::string, int> forwards() const {
    std::map<std::string, int> count;
    for (const auto& message : submission.received()) {
      const std::size_t at = message.data.find("Note <");
      const std::string id = message.data.substr(at + 5, message.data.find('>', at) - at - 4);
      ++count[id];
    }
    return count;
  }

  int delivered = 0;
  sandbox::DovecotServer server{{.users = {{"kim", password}}}};
  sandbox::SubmissionServer submission{{.users = {{"kim", "plum"}}}};
  ScriptedModel model{[](const std::string&) { return completion(choice("forward", 0.9)); }};
  World world;
};

struct CrashCount {
  int kills = 0;
  int messages = 0;
  int twice = 0;
  steady_clock::duration span{};  // in which the kills were spread, added up
};

void crash(int moments, std::mt19937& chance, CrashCount& count) {
  ForwardingWorld w;
  const auto pass = std::min(w.undisturbedPass(), w.undisturbedPass());
  std::uniform_int_distribution<std::int64_t> moment(
      0, std::chrono::duration_cast<std::chrono::nanoseconds>(pass).count());
  int kills = 0;
  while (kills < moments && !testing::Test::HasFailure()) {
    w.deliver();
    if (w.killAfter(std::chrono::nanoseconds(moment(chance)))) ++kills;
    w.check();
  }
  w.undisturbedPass();
  w.check();
  const auto recorded = w.world.recorded();
  const auto forwards = w.forwards();
  EXPECT_EQ(recorded->size(), static_cast<std::size_t>(w.delivered));
  int killedWhileSending = 0;
  for (const std::string& id : *recorded) {
    ASSERT_TRUE(forwards.contains(id)) << id << " is recorded and was never sent";
    killedWhileSending += forwards.at(id) - 1;
  }
  // Each death lets at most the one message go out again that was on its way.
  EXPECT_LE(killedWhileSending, kills);
  EXPECT_EQ(w.world.run({"config", "check"}).status, 0);
  count.kills += kills;
  count.messages += w.delivered;
  count.twice += killedWhileSending;
  count.span += pass * kills;
}

TEST(CrashRun, AtAnyMomentMessagesAreUntouchedOrHandled) {
  const unsigned seed = chosenSeed();
  std::cout << "note: seed " << seed << std::endl;
  std::mt19937 chance(seed);
  const int moments = isLongRun() ? 1000 : 10;
  CrashCount count;
  while (count.kills < moments && !HasFailure()) {
    crash(std::min(50, moments - count.kills), chance, count);
  }
  const double each = std::chrono::duration<double, std::milli>(count.span).count() / count.kills;
  std::cout << "note: " << count.kills << " kills, " << count.messages << " messages, "
            << count.twice << " forwards that went out twice: about "
            << each * count.twice / count.kills / messagesAMoment << " ms of each message's way\n";
}

}  // namespace
}  // namespace halcyra

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

// No client is connected to the port, and the server has read all that those before had sent.
bool hasNoClient(std::uint16_t port) {
  std::ifstream table("/proc/net/tcp");
  std::string line;
  std::getline(table, line);
  while (std::getline(table, line)) {
    // "number: address:port address:port state", where 1 is a connection and 8 one whose client
    // has closed.
    std::istringstream words(line);
    std::string number, local, remote;
    int state = 0;
    words >> number >> local >> remote >> std::hex >> state;
    const bool here = std::stoul(local.substr(local.find(':') + 1), nullptr, 16) == port;
    if (here && (state == 1 || state == 8)) return false;
  }
  return true;
}

std::string idOf(int number) {
  return "<" + std::to_string(number) + "@x>";
}

bool marksSeen(const std::string& flags) {
  return flags.find('S') != std::string::npos;
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

  steady_clock::duration undisturbedPass() {
    deliver();
    const auto started = steady_clock::now();
    EXPECT_EQ(world.onePass().status, 0);
    const auto took = steady_clock::now() - started;
    EXPECT_EQ(messagesLeftOpen(), 0) << "without a kill";
    return took;
  }

  // False when the program ended before the moment came.
  bool killAfter(std::chrono::nanoseconds moment) {
    deliver();
    sandbox::ChildProcess program(world.home.command({"monitor", "--once"}));
    const bool ended = endsBefore(program, moment);
    if (!ended) program.signal(SIGKILL);
    const auto ending = program.wait(60s);
    EXPECT_TRUE(ending);
    EXPECT_LE(messagesLeftOpen(), ended ? 0 : 1) << "only one message is under way at a time";
    return ending && ending->status == 128 + SIGKILL;
  }

  // At the end all is sent, recorded, and marked, except what a kill kept from its mark.
  void checkAllHandled() const {
    std::set<std::string> all;
    std::set<std::string> marked = unmarked;
    for (int number = 1; number <= delivered; ++number) all.insert(idOf(number));
    for (const auto& [id, flags] : server.flags("kim")) {
      if (marksSeen(flags)) marked.insert(id);
    }
    EXPECT_EQ(sent, all);
    EXPECT_EQ(recorded, all);
    EXPECT_EQ(marked, all);
  }

  int delivered = 0;
  int twice = 0;  // forwards that were a repetition
  // Message-IDs, as of the last run. What was killed between its record and its mark is left alone
  // by the passes that follow.
  std::set<std::string> sent, recorded, unmarked;
  sandbox::DovecotServer server{{.users = {{"kim", password}}}};
  sandbox::SubmissionServer submission{{.users = {{"kim", "plum"}}}};
  ScriptedModel model{[](const std::string&) { return completion(choice("forward", 0.9)); }};
  World world;

 private:
  void deliver() {
    for (int i = 0; i < messagesAMoment; ++i) {
      const std::string id = idOf(++delivered);
      server.deliver("kim", sandbox::simpleMessage(id, "Note " + id, "Text."));
    }
  }

  // How often each message went out since this was asked last.
  std::map<std::string, int> newForwards() {
    EXPECT_TRUE(eventually([this] { return hasNoClient(submission.port()); }, 20s));
    std::map<std::string, int> count;
    const auto all = submission.received();
    for (; forwards_ < all.size(); ++forwards_) {
      const std::string& data = all[forwards_].data;
      const std::size_t at = data.find("Note <");
      ++count[data.substr(at + 5, data.find('>', at) - at - 4)];
    }
    return count;
  }

  // What holds after any run. Gives how many messages it began and did not finish: sent without a
  // record, so that they are sent again, or recorded without a mark.
  int messagesLeftOpen() {
    const std::set<std::string> before = recorded;
    const auto onDisk = world.recorded();
    EXPECT_TRUE(onDisk) << "processed-ids.json is no whole file";
    recorded = onDisk.value_or(before);
    std::ifstream config(world.home.configFile());
    EXPECT_TRUE(nlohmann::json::accept(config));
    EXPECT_TRUE(std::ranges::includes(recorded, before)) << "a record was lost";
    int open = 0;
    for (const auto& [id, times] : newForwards()) {
      EXPECT_EQ(times, 1) << id << " was sent again in the same run";
      EXPECT_FALSE(before.contains(id)) << id << " was sent after its record";
      if (!sent.insert(id).second) ++twice;
      if (!recorded.contains(id)) ++open;
    }
    EXPECT_TRUE(std::ranges::includes(sent, recorded)) << "a record of what was never sent";
    for (const auto& [id, flags] : server.flags("kim")) {
      EXPECT_TRUE(!marksSeen(flags) || recorded.contains(id)) << id << " is seen, not recorded";
      const bool lacksMark = !marksSeen(flags) && recorded.contains(id);
      if (lacksMark && unmarked.insert(id).second) ++open;
    }
    return open;
  }

  std::size_t forwards_ = 0;  // that were counted
};

struct CrashCount {
  int kills = 0;
  int messages = 0;
  int twice = 0;
  int unmarked = 0;
  steady_clock::duration span{};  // in which the kills were spread, added up
};

void crash(int moments, std::mt19937& chance, CrashCount& count) {
  ForwardingWorld w;
  const auto pass = std::min(w.undisturbedPass(), w.undisturbedPass());
  std::uniform_int_distribution<std::int64_t> moment(
      0, std::chrono::duration_cast<std::chrono::nanoseconds>(pass).count());
  int kills = 0;
  while (kills < moments && !testing::Test::HasFailure()) {
    if (w.killAfter(std::chrono::nanoseconds(moment(chance)))) ++kills;
  }
  w.undisturbedPass();
  w.checkAllHandled();
  EXPECT_EQ(w.world.run({"config", "check"}).status, 0);
  count.kills += kills;
  count.messages += w.delivered;
  count.twice += w.twice;
  count.unmarked += static_cast<int>(w.unmarked.size());
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
            << count.unmarked << " were recorded and not marked, " << count.twice
            << " forwards that went out twice: about "
            << each * count.twice / count.kills / messagesAMoment << " ms of each message's way\n";
}

}  // namespace
}  // namespace halcyra

// The program is killed at random moments while it forwards mail.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <random>

#include "ForwardingWorld.h"
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

/// Knows of each message how far it came.
class CrashWorld : public ForwardingWorld {
 public:
  steady_clock::duration undisturbedPass() {
    deliver(messagesAMoment);
    const auto started = steady_clock::now();
    EXPECT_EQ(world.onePass().status, 0);
    const auto took = steady_clock::now() - started;
    EXPECT_EQ(messagesLeftOpen(), 0) << "without a kill";
    return took;
  }

  // False when the program ended before the moment came.
  bool killAfter(std::chrono::nanoseconds moment) {
    deliver(messagesAMoment);
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
    std::set<std::string> markedOrKilled = marked();
    markedOrKilled.insert(unmarked.begin(), unmarked.end());
    EXPECT_EQ(sent, allDelivered());
    EXPECT_EQ(recorded, allDelivered());
    EXPECT_EQ(markedOrKilled, allDelivered());
  }

  int twice = 0;  // forwards that were a repetition
  // Message-IDs, as of the last run. What was killed between its record and its mark is left alone
  // by the passes that follow.
  std::set<std::string> sent, recorded, unmarked;

 private:
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
    EXPECT_TRUE(eventually([this] { return hasNoClient(submission.port()); }, 20s));
    const std::multiset<std::string> forwards = newForwards();
    for (const std::string& id : forwards) {
      EXPECT_EQ(forwards.count(id), 1u) << id << " was sent again in the same run";
      EXPECT_FALSE(before.contains(id)) << id << " was sent after its record";
      if (!sent.insert(id).second) ++twice;
      if (!recorded.contains(id)) ++open;
    }
    EXPECT_TRUE(std::ranges::includes(sent, recorded)) << "a record of what was never sent";
    const std::set<std::string> seen = marked();
    EXPECT_TRUE(std::ranges::includes(recorded, seen)) << "marked without a record";
    for (const std::string& id : recorded) {
      if (!seen.contains(id) && unmarked.insert(id).second) ++open;
    }
    return open;
  }
};

struct CrashCount {
  int kills = 0;
  int messages = 0;
  int twice = 0;
  int unmarked = 0;
  steady_clock::duration span{};  // in which the kills were spread, added up
};

void crash(int moments, std::mt19937& chance, CrashCount& count) {
  CrashWorld w;
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

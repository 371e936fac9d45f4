// A pass that waits in IDLE, struck at each of its bytes.

#include <gtest/gtest.h>

#include <set>

#include "FaultyConnector.h"
#include "LiveMemory.h"
#include "support/IMAPDouble.h"
#include "support/RecordingLog.h"
#include "support/RunTask.h"
#include "support/ZonedClock.h"
#include "triage/IMAPPass.h"

namespace halcyra {
namespace {

struct IdleWorld {
  explicit IdleWorld(Fault fault) : wire(fault) {
    for (const std::uint32_t uid : {11u, 22u}) {
      server.messages[uid].text =
          "Message-ID: <" + std::to_string(uid) + "@x>\r\nSubject: Hello\r\n\r\nText.";
    }
  }

  Task<bool> take(ParsedMail mail) { co_return handled.insert(mail.uid).second; }

  PassResult pass() {
    return runTask(runIMAPPass({.account = {.id = "box", .displayLabel = "Kim", .kind = {}},
                                .connection = {"imap.x", 143, false, "kim", ""},
                                .password = "word",
                                .connector = connector,
                                .clock = clock,
                                .log = log,
                                .process = [this](ParsedMail m) { return take(std::move(m)); }}));
  }

  std::size_t seen() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(server.messages, [](const auto& each) { return each.second.seen; }));
  }

  Wire wire;
  IMAPDouble server;
  FaultyConnector connector{server, wire};
  ZonedClock clock;
  RecordingLog log;
  std::set<std::uint32_t> handled;
};

void strikeIdle(Fault fault) {
  IdleWorld w(fault);
  w.pass();
  const bool whole = w.seen() == 2 && w.log.lines().empty();
  EXPECT_TRUE(whole || fault.kind != FaultKind::split);
  EXPECT_TRUE(!whole || fault.kind > FaultKind::stall) << "a silent failure";
  EXPECT_LE(w.seen(), w.handled.size());
  w.wire.heal();
  EXPECT_EQ(w.pass(), PassResult::done);
  EXPECT_EQ(w.handled.size(), 2u);
}

TEST(FaultyIdle, APassThatIsStruckEndsAndTheNextGoesOn) {
  IdleWorld happy({});
  EXPECT_EQ(happy.pass(), PassResult::done);
  EXPECT_EQ(happy.log.lines(), std::vector<std::string>{});
  EXPECT_EQ(happy.seen(), 2u);
  const std::size_t size = happy.wire.crossed();
  for (const FaultKind kind : allFaults) {
    strikeIdle({kind, 0});
    const LiveMemory before = LiveMemory::now();
    for (std::size_t at = 0; at < size && !HasFailure(); ++at) {
      SCOPED_TRACE(std::string(nameOf(kind)) + " at byte " + std::to_string(at));
      strikeIdle({kind, at});
    }
    expectAllGivenBack(before, size);
  }
}

}  // namespace
}  // namespace halcyra

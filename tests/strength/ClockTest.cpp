// Clocks that jump and days whose length changes, while mail comes in.

#include <gtest/gtest.h>

#include "FaultWorld.h"
#include "text/InternetDate.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;

const Exchange mailboxes[] = {{"IMAP", "imap", "forward", {}},
                              {"Gmail", "gmail", "forward", {}},
                              {"Graph", "graph", "forward", {}}};

void expectEachHandledOnce(const FaultWorld& world) {
  EXPECT_EQ(world.recorded(), world.messages());
  EXPECT_EQ(world.seen(), world.messages());
  EXPECT_EQ(world.sent().size(), world.messages().size());
  for (const auto& [what, times] : world.sent()) EXPECT_EQ(times, 1) << what;
  EXPECT_EQ(world.log(), std::vector<std::string>{});
}

TEST(Clocks, AJumpOfADayBackAndForthLosesNothingAndRepeatsNothing) {
  for (const Exchange& mailbox : mailboxes) {
    SCOPED_TRACE(mailbox.name);
    FaultWorld world(mailbox);
    for (const auto jump : {0h, 24h, -48h, 24h, -24h}) {
      world.clock().advance(jump);
      world.deliver();
      world.pass();
      expectEachHandledOnce(world);
    }
    // In the middle of a pass, before each of its requests in turn.
    for (int before = 0; before < 12; ++before) {
      world.deliver();
      int requests = 0;
      world.http().onRequest = [&] {
        if (requests++ == before) world.clock().advance(before % 2 == 0 ? 24h : -24h);
      };
      world.pass();
      world.http().onRequest = {};
      // What was listed under one date and asked for under another is met on its day.
      world.clock().advance(requests <= before ? 0h : before % 2 == 0 ? -24h : 24h);
      world.pass();
      expectEachHandledOnce(world);
    }
  }
}

TEST(Clocks, MailOfEachHourAroundADaylightChangeIsHandledOnce) {
  // Days of 23 and of 25 hours; midnight comes twice; midnight is missing.
  const std::pair<const char*, const char*> changes[] = {
      {"Europe/Berlin", "2026-03-28T20:30:00Z"},
      {"Europe/Berlin", "2026-10-24T19:30:00Z"},
      {"America/Havana", "2026-11-01T01:30:00Z"},
      {"America/Sao_Paulo", "2018-11-03T23:30:00Z"}};
  for (const auto& [name, evening] : changes) {
    const TimeZone zone(name);
    for (const Exchange& mailbox : mailboxes) {
      FaultWorld world(mailbox, {}, *parseInternetDateTime(evening));
      for (int hour = 0; hour < 30 && !HasFailure(); ++hour) {
        SCOPED_TRACE(std::string(mailbox.name) + " " + evening + " + " + std::to_string(hour));
        world.deliver();
        world.pass();
        expectEachHandledOnce(world);
        world.clock().advance(1h);
      }
    }
  }
}

}  // namespace
}  // namespace halcyra

// Sign-ins struck at each byte of the redirect and of the token exchange.

#include <gtest/gtest.h>

#include "FaultWorld.h"
#include "LiveMemory.h"
#include "support/LongRun.h"

namespace halcyra {
namespace {

const Exchange signIns[] = {{"Google", "gmail", "forward", {Peer::browser, Peer::google}},
                            {"Microsoft", "graph", "forward", {Peer::browser, Peer::microsoft}},
                            {"Salesforce", "imap", "forward", {Peer::browser, Peer::salesforce}}};

std::size_t sizeOfSignIn(const Exchange& exchange) {
  FaultWorld world(exchange);
  const std::string before = world.credential();
  EXPECT_EQ(world.signInByBrowser(), "");
  EXPECT_NE(world.credential(), before);
  return world.crossed();
}

void strikeSignIn(const Exchange& exchange, Fault fault) {
  FaultWorld world(exchange, fault);
  const std::string before = world.credential();
  const std::string failure = world.signInByBrowser();
  EXPECT_EQ(world.credential() == before, !failure.empty()) << failure;
  EXPECT_TRUE(failure.empty() || fault.kind != FaultKind::split) << failure;
  world.heal();
  const std::string between = world.credential();
  EXPECT_EQ(world.signInByBrowser(), "");
  EXPECT_NE(world.credential(), between);
}

TEST(FaultySignIn, WhatIsStoredIsTheOldOrTheNewAndTheNextSignInWorks) {
  for (const Exchange& exchange : signIns) {
    const std::size_t size = sizeOfSignIn(exchange);
    EXPECT_GT(size, 500u);
    for (const FaultKind kind : allFaults) {
      strikeSignIn(exchange, {kind, 0});
      const LiveMemory before = LiveMemory::now();
      std::size_t strikes = 0;
      for (std::size_t at = 0; at < size && !HasFailure(); at += walkingStep(103), ++strikes) {
        SCOPED_TRACE(std::string(exchange.name) + ": " + std::string(nameOf(kind)) + " at byte " +
                     std::to_string(at));
        strikeSignIn(exchange, {kind, at});
      }
      expectAllGivenBack(before, strikes);
    }
  }
}

}  // namespace
}  // namespace halcyra

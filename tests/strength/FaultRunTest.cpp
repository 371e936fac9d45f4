// Every exchange with a peer, struck at each of its bytes in turn (a sample of them, unless
// HALCYRA_LONG is set).

#include <gtest/gtest.h>

#include "FaultWorld.h"
#include "LiveMemory.h"
#include "support/LongRun.h"

namespace halcyra {
namespace {

const Exchange exchanges[] = {
    {"IMAP and SMTP", "imap", "forward", {Peer::mailServer}},
    {"IMAP and SMTP over sockets", "imap", "forward", {Peer::mailServer}, 1, Carrier::sockets},
    {"IMAP and SMTP over TLS", "imap", "forward", {Peer::mailServer}, 1, Carrier::tls},
    {"the model", "imap", "forward", {Peer::model}},
    {"Gmail with its token, calendars and a forward", "gmail", "forward", {Peer::google}},
    {"Graph with its token, calendars and a forward", "graph", "forward", {Peer::microsoft}},
    {"a Dynamics lead with its token", "graph", "dynamics", {Peer::microsoft, Peer::dataverse}},
    {"a Salesforce lead with its token", "graph", "salesforce", {Peer::salesforce}},
    {"an automation of both leads, a forward and a draft",
     "graph",
     "chain",
     {Peer::microsoft, Peer::dataverse, Peer::salesforce, Peer::model},
     3},
};

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

bool tellsFailure(const FaultWorld& world) {
  return std::ranges::any_of(world.log(), [](const std::string& line) {
    return line.find(" lead created for message ") == std::string::npos;
  });
}

// Two messages, where a failure of the first must not keep the other.
void deliver(FaultWorld& world, const Exchange& exchange) {
  world.deliver();
  if (std::string_view(exchange.mailbox) == "imap") world.deliver();
}

using Counts = std::map<std::string, int>;

// Nothing went out more often than that. A status with another digit says that nothing was sent,
// and SMTP follows.
void expectSentAtMost(int times, const Counts& sent, bool mayDeny) {
  for (const auto& [what, count] : sent) {
    EXPECT_LE(count, times + (mayDeny && what.starts_with("forward") ? 1 : 0)) << what;
  }
}

// A flipped bit may be one of the Message-ID, so there only the number tells.
void expectRecordOfAllSeen(const FaultWorld& world, bool flips) {
  EXPECT_LE(world.seen().size(), world.recorded().size());
  EXPECT_TRUE(flips || std::ranges::includes(world.recorded(), world.seen()));
}

// What crosses when nothing happens.
std::size_t sizeOf(const Exchange& exchange) {
  FaultWorld world(exchange);
  deliver(world, exchange);
  world.pass();
  EXPECT_EQ(world.recorded(), world.messages()) << joined(world.log());
  EXPECT_EQ(world.seen(), world.messages()) << joined(world.log());
  EXPECT_EQ(world.sent().size(), world.messages().size() * exchange.sendsEach);
  expectSentAtMost(1, world.sent(), false);
  return world.crossed();
}

void strike(const Exchange& exchange, Fault fault) {
  FaultWorld world(exchange, fault);
  deliver(world, exchange);
  // By TLS no changed bit gets through.
  const bool flips = isFlip(fault.kind) && exchange.carrier != Carrier::tls;
  const bool harmless = fault.kind == FaultKind::split;
  world.pass();
  world.heal();
  expectRecordOfAllSeen(world, flips);
  const bool mayDeny =
      fault.kind == FaultKind::flipLowBit && !exchange.faulty.contains(Peer::mailServer);
  expectSentAtMost(1, world.sent(), mayDeny);
  const bool handled = world.recorded().size() == world.messages().size();
  EXPECT_TRUE(handled || !harmless);
  // A bit that changed may have made another, proper answer.
  EXPECT_TRUE(handled || flips || tellsFailure(world)) << "a silent failure";

  // A token that arrived with another letter is of no use until it expires.
  if (flips) world.signIn();
  world.pass();
  // Microsoft's refresh token is good once here, and lost with the answer that brought the next.
  const bool lostGrant = joined(world.log()).find("invalid_grant") != std::string::npos;
  if (lostGrant) {
    world.signIn();
    world.pass();
  }
  EXPECT_EQ(world.recorded().size(), world.messages().size()) << "the next pass left some";
  EXPECT_TRUE(flips || world.recorded() == world.messages());
  expectRecordOfAllSeen(world, flips);
  // Once in each pass. A peer may come to a request only after the client gave up waiting.
  expectSentAtMost(harmless ? 1 : lostGrant ? 3 : 2, world.sent(), mayDeny);
  const std::size_t sends = world.messages().size() * exchange.sendsEach;
  EXPECT_TRUE(flips || world.sent().size() == sends) << "not all was sent";
  if (testing::Test::HasFailure()) ADD_FAILURE() << joined(world.log());
}

class FaultRun : public testing::TestWithParam<FaultKind> {};

TEST_P(FaultRun, EachByteOfEachExchangeMayBeStruck) {
  for (const Exchange& exchange : exchanges) {
    SCOPED_TRACE(exchange.name);
    const std::size_t size = sizeOf(exchange);
    const bool hasMail = exchange.faulty.contains(Peer::mailServer);
    const bool inMemory = exchange.carrier == Carrier::memory;
    const std::size_t step = walkingStep(!hasMail ? 307 : inMemory ? 17 : 101);
    strike(exchange, {GetParam(), 0});
    const LiveMemory before = LiveMemory::now();
    std::size_t strikes = 0;
    for (std::size_t at = 0; at < size && !HasFailure(); at += step, ++strikes) {
      SCOPED_TRACE(std::string(nameOf(GetParam())) + " at byte " + std::to_string(at));
      strike(exchange, {GetParam(), at});
    }
    expectAllGivenBack(before, strikes);
    EXPECT_GE(strikes, 5u) << "of " << size << " bytes";
    RecordProperty(std::string("strikes at ") + exchange.name, static_cast<int>(strikes));
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, FaultRun, testing::ValuesIn(allFaults),
                         [](const auto& each) { return std::string(nameOf(each.param)); });

}  // namespace
}  // namespace halcyra

#include "platform/linux/OperationLimit.h"

#include <gtest/gtest.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/write.hpp>

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using boost::asio::ip::tcp;
using Error = boost::system::error_code;

constexpr Error done;
const Error ended = boost::asio::error::operation_aborted;

// A socket whose peer is silent until told.
class OperationLimitTest : public testing::Test {
 protected:
  OperationLimitTest() {
    tcp::acceptor acceptor(context_, tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
    socket_.connect(acceptor.local_endpoint());
    peer_ = acceptor.accept();
  }

  static OperationLimit::Deadline in(std::chrono::milliseconds time) {
    return std::chrono::steady_clock::now() + time;
  }

  // What becomes of a wait for bytes; nothing while it goes on.
  void waitForBytes() {
    result_.reset();
    socket_.async_wait(tcp::socket::wait_read, [this](const Error& error) { result_ = error; });
  }
  // To the end of the wait, or of the time that a test has.
  std::optional<Error> result() {
    context_.restart();
    while (!result_ && context_.run_one_for(20s) > 0) {
    }
    return result_;
  }
  bool goesOn() {
    context_.restart();
    context_.poll();
    return !result_;
  }
  void speak() { boost::asio::write(peer_, boost::asio::buffer("x", 1)); }

  boost::asio::io_context context_;
  tcp::socket socket_{context_};
  tcp::socket peer_{context_};
  OperationLimit limit_{socket_};
  std::optional<Error> result_;
};

TEST_F(OperationLimitTest, AShorterWaitAfterALongerOneEndsInItsOwnTime) {
  { const OperationLimit::Wait longer(limit_, in(1h), {}); }
  const OperationLimit::Wait shorter(limit_, in(1ms), {});
  waitForBytes();
  EXPECT_EQ(result(), ended);
}

TEST_F(OperationLimitTest, ATimerOfTheWaitBeforeNeitherEndsTheNextNorLeavesItWithoutAnEnd) {
  const auto soon = in(1ms);
  { const OperationLimit::Wait first(limit_, soon, {}); }
  const auto later = in(30ms);
  const OperationLimit::Wait next(limit_, later, {});
  waitForBytes();
  EXPECT_EQ(result(), ended);
  EXPECT_GE(std::chrono::steady_clock::now(), later);
}

TEST_F(OperationLimitTest, ATimerThatFiresBetweenTwoWaitsIsSetAnewForTheSecond) {
  { const OperationLimit::Wait first(limit_, in(1ms), {}); }
  EXPECT_EQ(context_.run_one_for(20s), 1u);
  {
    const OperationLimit::Wait second(limit_, in(1h), {});
    waitForBytes();
    EXPECT_TRUE(goesOn());
    speak();
    EXPECT_EQ(result(), done);
  }
  char byte;
  socket_.receive(boost::asio::buffer(&byte, 1));
  const OperationLimit::Wait third(limit_, in(1ms), {});
  waitForBytes();
  EXPECT_EQ(result(), ended);
}

TEST_F(OperationLimitTest, AStopEndsItsOwnWaitAndNoneThatFollows) {
  std::stop_source stop;
  {
    const OperationLimit::Wait stopped(limit_, in(1h), stop.get_token());
    waitForBytes();
    stop.request_stop();
    EXPECT_EQ(result(), ended);
  }
  // The stop comes as the wait ends, and its message only when the next has begun.
  std::stop_source late;
  {
    const OperationLimit::Wait finished(limit_, in(1h), late.get_token());
    late.request_stop();
  }
  const OperationLimit::Wait next(limit_, in(1h), {});
  waitForBytes();
  EXPECT_TRUE(goesOn());
  speak();
  EXPECT_EQ(result(), done);
}

TEST_F(OperationLimitTest, WhatComesAfterItsEndDoesNothing) {
  std::stop_source stop;
  {
    OperationLimit gone(socket_);
    const OperationLimit::Wait wait(gone, in(1ms), stop.get_token());
    stop.request_stop();
  }
  waitForBytes();
  EXPECT_TRUE(goesOn());
}

}  // namespace
}  // namespace halcyra

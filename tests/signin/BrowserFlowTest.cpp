// The browser flow over real loopback sockets.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <list>
#include <thread>

#include "platform/linux/SocketListener.h"
#include "signin/OAuthFlowError.h"
#include "signin/OAuthLoopbackServer.h"
#include "signin/OAuthWebSession.h"
#include "support/FailureText.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

const std::string redirected = "GET /oauth?code=c0de HTTP/1.1\r\nHost: localhost\r\n\r\n";
const std::string redirectURL = "http://localhost:18876/oauth?code=c0de";

/// The browser's end of one connection; its calls block, for 10 seconds at most.
class Client {
 public:
  explicit Client(std::uint16_t port, asio::ip::address host = asio::ip::address_v4::loopback())
      : socket_(::socket(host.is_v4() ? AF_INET : AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval longest{10, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest);
    const tcp::endpoint server(host, port);
    EXPECT_EQ(::connect(socket_, server.data(), static_cast<socklen_t>(server.size())), 0);
  }
  ~Client() { ::close(socket_); }
  Client(const Client&) = delete;

  Client& send(const std::string& bytes) {
    ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);  // blocks until all is sent
    return *this;
  }

  /// Status and body of the answer; "" when the connection ends without one.
  std::string answer() {
    std::string text;
    char room[4096];
    for (;;) {
      const long count = ::recv(socket_, room, sizeof room, 0);
      if (count <= 0) return count < 0 && errno == EAGAIN ? "no answer in time" : "";
      text.append(room, static_cast<std::size_t>(count));
      const std::size_t head = text.find("\r\n\r\n");
      const std::size_t length = text.find("Content-Length: ");
      if (head != text.npos && length != text.npos &&
          text.size() == head + 4 + std::stoul(text.substr(length + 16))) {
        return text.substr(9, 3) + " " + text.substr(head + 4);
      }
    }
  }

  /// Was the connection closed in order, with nothing more to read?
  bool endsWell() {
    ::shutdown(socket_, SHUT_WR);
    char more;
    return ::recv(socket_, &more, 1, 0) == 0;
  }

 private:
  int socket_;
};

struct ScriptedBrowser : Browser {
  bool open(const std::string& address) override {
    opened.push_back(address);
    return starts;
  }
  std::vector<std::string> opened;
  bool starts = true;
};

class BrowserFlow : public testing::Test {
 protected:
  // So that a sign-in elsewhere on the machine does not matter.
  std::uint16_t freePort() {
    tcp::acceptor probe(context_, {asio::ip::address_v4::loopback(), 0});
    return probe.local_endpoint().port();
  }

  /// Runs a flow; when the address is announced, `act` begins on a thread of its own.
  std::string run(std::function<void()> act, std::stop_token stop = {}) {
    std::jthread acting;
    AnnounceAddress announce = [&](const std::string& address, bool browserStarted) {
      announced_ += address + (browserStarted ? " opened;" : " not opened;");
      acting = std::jthread(act);
    };
    return runTask(context_, session_.runBrowserSignIn("https://sign.in/", announce, stop));
  }

  /// Comes back over IPv4.
  void redirect() { EXPECT_TRUE(Client(port_).send(redirected).answer().starts_with("200 <!D")); }

  bool isPortFree() {
    error_code error;
    tcp::acceptor acceptor(context_);
    acceptor.open(tcp::v4());
    acceptor.set_option(tcp::acceptor::reuse_address(true));
    acceptor.bind({asio::ip::address_v4::loopback(), port_}, error);
    if (!error) acceptor.listen(1, error);
    return !error;
  }

  asio::io_context context_;
  std::uint16_t port_ = freePort();
  SocketListener listener_{context_.get_executor()};
  ScriptedBrowser browser_;
  OAuthWebSession session_{listener_, browser_, port_};
  std::string announced_;
};

TEST_F(BrowserFlow, TheFirstUsableRequestEndsItAndIsAnsweredInFull) {
  const auto act = [&] {
    EXPECT_EQ(Client(port_).send("BREW / HTCPCP/1.0\r\n\r\n").answer(), "400 Bad Request");
    EXPECT_EQ(Client(port_).send("GET\r\n").answer(), "400 Bad Request");
    EXPECT_EQ(Client(port_).send("\xFF\n").answer(), "");
    EXPECT_EQ(Client(port_).send(std::string(600000, 'a')).answer(), "");
    Client early(port_), late(port_), overV6(port_, asio::ip::address_v6::loopback());
    late.send("GET /");
    for (const char c : redirected.substr(0, 31)) early.send(std::string(1, c));
    EXPECT_TRUE(early.answer().starts_with("200 <!DOCTYPE html>"));
    EXPECT_EQ(late.send("late HTTP/1.1\n").answer(), "200 OK");
    EXPECT_EQ(overV6.send("GET /later HTTP/1.1\n").answer(), "200 OK");
    early.send(std::string(100000, 'h'));  // headers that were slow to come
    EXPECT_TRUE(early.endsWell());
  };
  EXPECT_EQ(run(act), redirectURL);
  EXPECT_EQ(browser_.opened, std::vector<std::string>{"https://sign.in/"});
  EXPECT_EQ(announced_, "https://sign.in/ opened;");
  EXPECT_TRUE(isPortFree());
}

Task<std::optional<std::string>> waitAndStop(OAuthLoopbackServer& server) {
  Task<std::optional<std::string>> waiting = server.redirect({});
  const std::optional<std::string> url = co_await std::move(waiting);
  Task<void> stopping = server.stop();
  co_await std::move(stopping);
  co_return url;
}

TEST_F(BrowserFlow, ARedirectBeforeAnybodyWaitsIsKept) {
  OAuthLoopbackServer server(listener_, context_.get_executor(), port_);
  std::atomic<bool> answered = false;
  std::jthread browser([&] {
    redirect();
    answered = true;
  });
  while (!answered) context_.run_one_for(std::chrono::milliseconds(10));
  EXPECT_EQ(runTask(context_, waitAndStop(server)), redirectURL);
  EXPECT_TRUE(isPortFree());
}

TEST_F(BrowserFlow, IdleConnectionsDoNotKeepTheRedirectOut) {
  const auto act = [&] {
    std::list<Client> idle;
    for (int count = 0; count < 100; ++count) idle.emplace_back(port_).send("GET ");
    EXPECT_EQ(idle.front().answer(), "");  // ended, since only so many are kept
    idle.back().send("/oauth?code=c0de HTTP/1.1\n").answer();
  };
  EXPECT_EQ(run(act), redirectURL);
}

TEST_F(BrowserFlow, AStopEndsItAndFreesThePort) {
  std::stop_source stop;
  const std::string cancelled = "Sign-in was cancelled or returned no callback.";
  std::optional<Client> half;
  EXPECT_EQ(failureText<OAuthFlowError>([&] {
              run(
                  [&] {
                    half.emplace(port_).send("GET /oauth?code=");
                    stop.request_stop();
                  },
                  stop.get_token());
            }),
            cancelled);
  EXPECT_TRUE(isPortFree());
  EXPECT_EQ(failureText<OAuthFlowError>([&] { run([] {}, stop.get_token()); }), cancelled);
  EXPECT_EQ(run([&] { redirect(); }), redirectURL);
}

TEST_F(BrowserFlow, ASecondSignInIsRefusedAndTheFirstGoesOn) {
  std::string second;
  const auto act = [&] {
    asio::io_context elsewhere;
    SocketListener listener(elsewhere.get_executor());
    OAuthWebSession other(listener, browser_, port_);
    second = failureText<OAuthFlowError>(
        [&] { runTask(elsewhere, other.runBrowserSignIn("https://other/", {}, {})); });
    redirect();
  };
  EXPECT_EQ(run(act), redirectURL);
  EXPECT_EQ(second, "A sign-in is already running. Finish or cancel it before starting another.");
  EXPECT_EQ(browser_.opened.size(), 1u);
}

TEST_F(BrowserFlow, ATakenPortIsToldAndTheNextSignInMayTryAgain) {
  for (const asio::ip::address& address : std::vector<asio::ip::address>{
           asio::ip::address_v4::loopback(), asio::ip::address_v6::loopback()}) {
    tcp::acceptor taken(context_, {address, port_});
    EXPECT_EQ(failureText<OAuthFlowError>([&] { run([] {}); }),
              "Could not listen on localhost:18876 (Address already in use). Quit other copies of "
              "this app, try again in a few seconds, or free port 18876. Azure/Google redirect URI "
              "must stay http://localhost:18876/oauth.");
  }
  EXPECT_TRUE(browser_.opened.empty());
  EXPECT_EQ(run([&] { redirect(); }), redirectURL);
}

TEST_F(BrowserFlow, WithoutABrowserTheAddressIsAnnouncedOrNothingStarts) {
  browser_.starts = false;
  const auto act = [&] {
    Client(port_, asio::ip::address_v6::loopback()).send(redirected).answer();
  };
  EXPECT_EQ(run(act), redirectURL);
  EXPECT_EQ(announced_, "https://sign.in/ not opened;");
  EXPECT_EQ(failureText<OAuthFlowError>(
                [&] { runTask(context_, session_.runBrowserSignIn("https://a/", {}, {})); }),
            "Could not start the sign-in session.");
  EXPECT_TRUE(isPortFree());
}

}  // namespace
}  // namespace halcyra

#include "platform/linux/CurlHttpClient.h"

#include <gtest/gtest.h>

#include <boost/asio/detached.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>

#include "sandbox/LoopbackHttpServer.h"
#include "support/RunTask.h"

namespace halcyra {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using sandbox::LoopbackHttpServer;
using sandbox::ServedRequest;

// Answers each connection's first request with fixed bytes, as soon as `together` requests are
// there, and keeps the connection open or closes it. Lives on the context that runs the client.
class RawServer {
 public:
  RawServer(asio::io_context& context, std::string answer, bool closing, std::size_t together = 1)
      : answer_(std::move(answer)),
        closing_(closing),
        together_(together),
        acceptor_(context, tcp::endpoint(asio::ip::address_v4::loopback(), 0)) {
    asio::co_spawn(context, accept(), asio::detached);
  }

  std::string url() const {
    return "http://127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port()) + "/p?secret=1";
  }
  void stop() { acceptor_.close(); }

 private:
  asio::awaitable<void> accept() {
    while (true) {
      tcp::socket socket = co_await acceptor_.async_accept(asio::use_awaitable);
      std::string request;
      co_await asio::async_read_until(socket, asio::dynamic_buffer(request), "\r\n\r\n",
                                      asio::use_awaitable);
      waiting_.push_back(std::move(socket));
      if (waiting_.size() < together_) continue;
      for (tcp::socket& each : waiting_) {
        co_await asio::async_write(each, asio::buffer(answer_), asio::use_awaitable);
      }
      if (closing_) waiting_.clear();
    }
  }

  std::string answer_;
  bool closing_;
  std::size_t together_;
  tcp::acceptor acceptor_;
  std::vector<tcp::socket> waiting_;
};

HttpRequest get(std::string url) {
  HttpRequest request;
  request.url = std::move(url);
  return request;
}

// The failure of a request as "kind: text", or the status and body of its answer.
Task<std::string> outcome(HttpClient& client, HttpRequest request,
                          std::function<void()> then = {}) {
  std::string text;
  try {
    Task<HttpResponse> answer = client.perform(std::move(request));
    const HttpResponse response = co_await std::move(answer);
    text = std::to_string(response.status) + ": " + response.body;
  } catch (const HttpError& error) {
    const char* const kinds[] = {"invalidURL", "transport", "unanswered",
                                 "failed",     "notHTTP",   "tooLarge"};
    text = std::string(kinds[static_cast<int>(error.kind())]) + ": " + error.what();
  }
  if (then) then();
  co_return text;
}

std::string outcomeOfRaw(std::string answer, bool closing, HttpRequest request) {
  asio::io_context context;
  CurlHttpClient client;
  RawServer server(context, std::move(answer), closing);
  request.url = server.url();
  return runTask(context, outcome(client, std::move(request), [&] { server.stop(); }));
}

std::string withoutPort(std::string text) {
  const std::size_t port = text.find("127.0.0.1:");
  if (port == std::string::npos) return text;
  const std::size_t end = text.find_first_not_of("0123456789", port + 10);
  return text.replace(port, end - port, "SERVER");
}

HttpResponse echo(const ServedRequest& request) {
  std::string all = request.method + " " + request.target + "\n";
  for (const HttpHeader& header : request.headers) {
    if (header.name != "Host" && header.name != "Accept-Encoding") {
      all += header.name + "=" + header.value + "\n";
    }
  }
  return {203, {{"X-One", " 1 "}, {"Set-Cookie", "a"}, {"Set-Cookie", "b"}}, all + request.body};
}

TEST(CurlHttpClient, ExchangesRequestsOverOneConnection) {
  LoopbackHttpServer server(echo);
  CurlHttpClient client;
  HttpRequest request = get(server.baseURL() + "/a?b=c");
  const HttpResponse answer = runTask(client.perform(request));
  EXPECT_EQ(answer.status, 203);
  EXPECT_EQ(answer.body, "GET /a?b=c\nAccept=*/*\n");
  std::string headers;
  for (const HttpHeader& each : answer.headers) headers += each.name + "=" + each.value + "|";
  EXPECT_EQ(headers, "X-One=1|Set-Cookie=a|Set-Cookie=b|Content-Length=22|");

  request.method = "POST";
  request.headers = {{"Accept", "x/y"}, {"X-Empty", ""}, {"Content-Type", "application/json"}};
  request.body = std::string("{}\0", 3) + std::string(2 << 20, 'b');
  EXPECT_EQ(runTask(client.perform(request)).body,
            "POST /a?b=c\nAccept=x/y\nX-Empty=\nContent-Type=application/json\n"
            "Content-Length=2097155\n" +
                request.body);
  request = get(server.baseURL());
  request.method = "PATCH";
  request.body = "p";
  EXPECT_EQ(runTask(client.perform(request)).body, "PATCH /\nAccept=*/*\nContent-Length=1\np");
  request.method = "DELETE";
  request.body = "";
  EXPECT_EQ(runTask(client.perform(request)).body, "DELETE /\nAccept=*/*\n");
  EXPECT_EQ(server.connectionCount(), 1u);

  server.stop();
  EXPECT_EQ(withoutPort(runTask(outcome(client, request))),
            "transport: Could not connect to SERVER.");
}

// Answers a GET and keeps the connection; takes a POST whole and closes without a word.
asio::awaitable<void> serveUntilPost(tcp::socket socket, int* posts) {
  std::string bytes;
  while (true) {
    const std::size_t end = co_await asio::async_read_until(socket, asio::dynamic_buffer(bytes),
                                                            "\r\n\r\n", asio::use_awaitable);
    if (bytes.starts_with("POST")) break;
    bytes.erase(0, end);
    const std::string answer = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
    co_await asio::async_write(socket, asio::buffer(answer), asio::use_awaitable);
  }
  co_await asio::async_read_until(socket, asio::dynamic_buffer(bytes), "the mail",
                                  asio::use_awaitable);
  ++*posts;
}

asio::awaitable<void> serveEach(tcp::acceptor* acceptor, int* posts) {
  while (true) {
    tcp::socket socket = co_await acceptor->async_accept(asio::use_awaitable);
    asio::co_spawn(acceptor->get_executor(), serveUntilPost(std::move(socket), posts),
                   asio::detached);
  }
}

asio::awaitable<std::string> getThenPost(CurlHttpClient* client, tcp::acceptor* acceptor,
                                         bool statusSuffices) {
  const std::string url =
      "http://127.0.0.1:" + std::to_string(acceptor->local_endpoint().port()) + "/";
  Task<HttpResponse> getting = client->perform({.url = url});
  co_await std::move(getting);
  HttpRequest post{.method = "POST", .url = url, .body = "the mail"};
  post.statusSuffices = post.lossIsTold = statusSuffices;
  Task<std::string> posting = outcome(*client, std::move(post));
  std::string ending = co_await std::move(posting);
  acceptor->close();
  co_return ending;
}

TEST(CurlHttpClient, NeverSendsAPostAgainByItself) {
  for (const bool statusSuffices : {false, true}) {
    asio::io_context context;
    tcp::acceptor acceptor(context, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
    int posts = 0;
    asio::co_spawn(context, serveEach(&acceptor, &posts), asio::detached);
    CurlHttpClient client;
    const std::string ending = runTask(context, getThenPost(&client, &acceptor, statusSuffices));
    EXPECT_EQ(withoutPort(ending),
              std::string(statusSuffices ? "unanswered" : "transport") +
                  ": SERVER closed the connection before its answer was complete.");
    EXPECT_EQ(posts, 1);
  }
}

// Sends its answer byte by byte, with pauses.
asio::awaitable<void> drip(tcp::acceptor* acceptor) {
  tcp::socket socket = co_await acceptor->async_accept(asio::use_awaitable);
  asio::steady_timer pause(socket.get_executor());
  const std::string answer = "HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n" + std::string(20, 'x');
  for (std::size_t sent = 0; sent < answer.size(); sent += sent < 39 ? 39 : 1) {
    co_await asio::async_write(socket, asio::buffer(answer.substr(sent, sent < 39 ? 39 : 1)),
                               asio::use_awaitable);
    pause.expires_after(std::chrono::milliseconds(60));
    co_await pause.async_wait(asio::use_awaitable);
  }
}

TEST(CurlHttpClient, AnAnswerMayTakeItsTimeButNotForEver) {
  using std::chrono::milliseconds;
  struct Case {
    milliseconds timeout, longest;
    bool statusSuffices;
    std::string ending;
  };
  const milliseconds enough = std::chrono::seconds(20);
  const std::string whole = "200: " + std::string(20, 'x');
  for (const Case& each :
       {Case{milliseconds(900), enough, false, whole},
        {milliseconds(10), enough, false, "transport: The request to SERVER timed out."},
        {enough, milliseconds(300), false, "failed: The answer of SERVER took too long."},
        {enough, milliseconds(300), true, "200: x"}}) {
    asio::io_context context;
    tcp::acceptor acceptor(context, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
    asio::co_spawn(context, drip(&acceptor), asio::detached);
    CurlHttpClient client;
    HttpRequest request =
        get("http://127.0.0.1:" + std::to_string(acceptor.local_endpoint().port()) + "/");
    request.timeout = each.timeout;
    request.longest = each.longest;
    request.statusSuffices = each.statusSuffices;
    const std::string ending = withoutPort(runTask(context, outcome(client, std::move(request))));
    EXPECT_EQ(ending.substr(0, each.ending.size()), each.ending);
  }
}

TEST(CurlHttpClient, RunsRequestsInParallel) {
  asio::io_context context;
  CurlHttpClient client;
  RawServer server(context, "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok", true, 8);
  std::size_t answered = 0;
  const auto count = [&](std::exception_ptr, std::string text) {
    EXPECT_EQ(text, "200: ok");
    if (++answered == 8) server.stop();
  };
  for (int index = 0; index < 8; ++index) {
    asio::co_spawn(context, outcome(client, get(server.url())), count);
  }
  context.run();
  EXPECT_EQ(answered, 8u);
}

// Zero bytes, 158 for one byte of gzip: deflate's fixed code (RFC 1951, section 3.2.6).
std::string zippedZeros(std::size_t runs) {
  std::string bytes("\x1F\x8B\x08\0\0\0\0\0\0\xFF", 10);
  unsigned pending = 0;
  int bits = 0;
  const auto put = [&](unsigned code, int length, bool reversed) {
    for (int index = 0; index < length; ++index) {
      const int shift = reversed ? length - 1 - index : index;
      pending |= (code >> shift & 1u) << bits;
      if (++bits < 8) continue;
      bytes.push_back(static_cast<char>(pending));
      pending = 0;
      bits = 0;
    }
  };
  put(0b011, 3, false);      // the last block, fixed code
  put(0b00110000, 8, true);  // the literal 0
  for (std::size_t run = 0; run < runs; ++run) {
    put(0b11000101, 8, true);  // 258 bytes ...
    put(0, 5, true);           // ... from one byte back
  }
  put(0, 7 + 7, true);  // end of block, and the byte filled up
  return bytes;
}

TEST(CurlHttpClient, CountsDecodedBytes) {
  LoopbackHttpServer server([](const ServedRequest& request) -> HttpResponse {
    if (request.target == "/plain") return {200, {}, std::string(1 << 20, 'x')};
    const std::string unpacked(
        "\x1F\x8B\x08\0\0\0\0\0\x02\x03\x2B\xCD\x2B\x48\x4C\xCE\x4E\x4D\x01\0\x96\x62\x2F"
        "\xCA\x08\0\0\0",
        28);
    return {200,
            {{"Content-Encoding", "gzip"}},
            request.target == "/bomb" ? zippedZeros(400'000) : unpacked};
  });
  CurlHttpClient client;
  const auto ask = [&](std::string target, std::size_t limit) {
    HttpRequest request = get(server.baseURL() + target);
    request.answerLimit = limit;
    return withoutPort(runTask(outcome(client, std::move(request))));
  };
  EXPECT_EQ(ask("/zip", 8), "200: unpacked");
  EXPECT_EQ(ask("/plain", 1 << 20).size(), 5u + (1 << 20));
  EXPECT_EQ(ask("/plain", (1 << 20) - 1), "tooLarge: The answer of SERVER is larger than 1 MB.");
  EXPECT_EQ(ask("/bomb", 8 << 20), "tooLarge: The answer of SERVER is larger than 8 MB.");
}

TEST(CurlHttpClient, FollowsRedirectsOnlyWithoutCredentials) {
  LoopbackHttpServer server([](const ServedRequest& request) -> HttpResponse {
    if (request.target == "/away") return {302, {{"Location", "ftp://host/x"}}, ""};
    const int left = std::stoi(request.target.substr(1));
    if (left == 0) return {200, {}, "there"};
    return {302, {{"Location", "/" + std::to_string(left - 1)}}, "moved"};
  });
  CurlHttpClient client;
  const auto ask = [&](std::string target, std::string method, std::vector<HttpHeader> headers) {
    HttpRequest request = get(server.baseURL() + target);
    request.method = std::move(method);
    request.headers = std::move(headers);
    return withoutPort(runTask(outcome(client, std::move(request))));
  };
  EXPECT_EQ(ask("/5", "GET", {}), "200: there");
  EXPECT_EQ(ask("/6", "GET", {}),
            "failed: The request to SERVER failed: Maximum (5) redirects followed.");
  EXPECT_EQ(ask("/away", "GET", {}),
            "failed: The request to SERVER failed: Protocol \"ftp\" not supported or disabled in "
            "libcurl.");
  EXPECT_EQ(ask("/1", "GET", {{"authorization", "Bearer x"}}), "302: moved");
  EXPECT_EQ(ask("/1", "POST", {}), "302: moved");
}

TEST(CurlHttpClient, NamesTheHostWhenThereIsNoAnswer) {
  using std::chrono::milliseconds;
  const milliseconds enough = std::chrono::seconds(20);
  const std::string closed = ": SERVER closed the connection before its answer was complete.";
  const std::string cut = "transport" + closed;
  const auto raw = [](std::string answer, bool closing, milliseconds timeout) {
    return withoutPort(outcomeOfRaw(std::move(answer), closing, {.timeout = timeout}));
  };
  EXPECT_EQ(raw("", false, milliseconds(50)), "transport: The request to SERVER timed out.");
  EXPECT_EQ(raw("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf", false, milliseconds(50)),
            "transport: The request to SERVER timed out.");
  HttpRequest lead{.method = "POST", .body = "b", .timeout = milliseconds(500)};
  lead.statusSuffices = true;
  EXPECT_EQ(outcomeOfRaw("HTTP/1.1 201 Y\r\nContent-Length: 9\r\n\r\nhalf", false, lead),
            "201: half");
  for (const HttpRequest& request : {HttpRequest{.timeout = enough}, lead}) {
    EXPECT_EQ(withoutPort(outcomeOfRaw("220 mail ESMTP ready\r\n", true, request)),
              "notHTTP: The answer of SERVER is not HTTP.");
  }
  EXPECT_EQ(raw("HTTP/1.1 200 OK\r\nX: " + std::string(90'000, 'x') + "\r\nX: " +
                    std::string(90'000, 'x') + "\r\nX: " + std::string(90'000, 'x') + "\r\n\r\n",
                true, enough),
            "tooLarge: The headers of SERVER are larger than 0.25 MB.");
  EXPECT_EQ(raw("HTTP/1.1 200 OK\r\nX: " + std::string(120'000, 'x') + "\r\n\r\n", true, enough),
            "tooLarge: A header line of SERVER is too long.");

  const std::string whole = "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbody";
  EXPECT_EQ(raw(whole, true, enough), "200: body");
  EXPECT_EQ(raw("", true, enough), cut);
  for (std::size_t length = 1; length < whole.size(); ++length) {
    const std::string text = raw(whole.substr(0, length), true, enough);
    EXPECT_TRUE(text == cut || (length < 13 && text.starts_with("notHTTP"))) << length << text;
    HttpRequest post{.method = "POST", .body = "b", .timeout = enough};
    post.statusSuffices = post.lossIsTold = true;
    const std::string ending = withoutPort(outcomeOfRaw(whole.substr(0, length), true, post));
    if (length < whole.size() - 4) {
      EXPECT_TRUE(ending.starts_with("unanswered: ")) << length << ending;
    } else {
      EXPECT_EQ(ending, "200: " + whole.substr(whole.size() - 4, length + 4 - whole.size()));
    }
  }

  asio::io_context context;
  RawServer gone(context, "", true);
  const std::string url = gone.url();
  gone.stop();
  CurlHttpClient client;
  EXPECT_EQ(withoutPort(runTask(outcome(client, get(url)))),
            "transport: Could not connect to SERVER.");

  // Another try would meet the same TLS.
  const LoopbackHttpServer plain(echo);
  const std::string secure = "https" + plain.baseURL().substr(4);
  EXPECT_TRUE(withoutPort(runTask(outcome(client, get(secure))))
                  .starts_with("failed: The request to SERVER failed: "));
}

TEST(CurlHttpClient, RefusesWhatCannotBeSent) {
  CurlHttpClient client;
  for (const std::string& url :
       {std::string(), std::string("nowhere"), std::string("ftp://host/"), std::string("http://"),
        std::string("file:///etc/passwd"), std::string("http://host/a b"),
        std::string("http://host/\0", 13)}) {
    EXPECT_EQ(runTask(outcome(client, get(url))),
              "invalidURL: The address is not a usable web address.")
        << url;
  }
  for (const HttpHeader& header : {HttpHeader{"X", "a\r\nY: b"}, {"X\n", "a"}, {"", "a"}}) {
    HttpRequest request = get("http://127.0.0.1:1/");
    request.headers = {header};
    EXPECT_EQ(runTask(outcome(client, std::move(request))),
              "failed: The request to 127.0.0.1:1 has a header with a line break or without a "
              "name.");
  }
}

TEST(CurlHttpClient, DestructionFailsWhatIsUnderWay) {
  asio::io_context context;
  auto client = std::make_unique<CurlHttpClient>();
  RawServer server(context, "HTTP/1.1 200 OK\r\n", false);
  std::vector<std::string> texts;
  for (int index = 0; index < 3; ++index) {
    asio::co_spawn(context, outcome(*client, get(server.url())),
                   [&](std::exception_ptr, std::string text) { texts.push_back(text); });
  }
  context.poll();  // submits them
  client.reset();
  server.stop();
  context.run();
  ASSERT_EQ(texts.size(), 3u);
  for (const std::string& text : texts) {
    EXPECT_EQ(withoutPort(text), "failed: The request to SERVER was given up.");
  }
}

}  // namespace
}  // namespace halcyra

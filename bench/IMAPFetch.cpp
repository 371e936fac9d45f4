// Fetches today's unseen messages one by one as a pass over a mailbox does, and drops them, or
// makes a ParsedMail of each first.
// usage: imap_fetch drop|parse plain|tls PORT USER PASSWORD DATE
// Prints the bytes of all messages and the peak memory of this process in KB.

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "mail/IMAPClient.h"
#include "mail/ParsedMail.h"
#include "platform/linux/SocketConnector.h"

namespace halcyra {
namespace {

struct Order {
  bool parse;
  IMAPLogin login;
  std::string date;
};

std::size_t bytesOf(const std::vector<std::string>& units) {
  std::size_t bytes = 0;
  for (const std::string& unit : units) {
    if (unit.starts_with(literalMarker)) bytes += unit.size() - literalMarker.size();
  }
  return bytes;
}

Task<std::size_t> fetchAll(StreamConnector& connector, Order order) {
  IMAPClient client(connector);
  Task<void> connecting = client.connect(order.login);
  co_await std::move(connecting);
  Task<std::vector<std::uint32_t>> searching = client.searchUnseen(order.date);
  const std::vector<std::uint32_t> uids = co_await std::move(searching);
  std::size_t bytes = 0;
  for (const std::uint32_t uid : uids) {
    Task<std::vector<std::string>> fetching = client.fetchMessage(uid);
    std::vector<std::string> units = co_await std::move(fetching);
    bytes += bytesOf(units);
    if (order.parse && !ParsedMail::fromIMAPFetch("m", uid, units)) {
      throw std::runtime_error("a message could not be parsed");
    }
  }
  client.disconnect();
  co_return bytes;
}

std::size_t run(const Order& order) {
  boost::asio::io_context context(1);
  SocketConnector connector(context.get_executor());
  std::exception_ptr failure;
  std::size_t bytes = 0;
  boost::asio::co_spawn(context, fetchAll(connector, order),
                        [&](std::exception_ptr error, std::size_t count) {
                          failure = error;
                          bytes = count;
                        });
  context.run();
  if (failure) std::rethrow_exception(failure);
  return bytes;
}

// What getrusage tells counts from before the program was started.
long peakMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long kilobytes = 0;
    if (word == "VmHWM:" && status >> kilobytes) return kilobytes;
  }
  throw std::runtime_error("the peak memory is unknown");
}

}  // namespace
}  // namespace halcyra

int main(int count, char** argument) {
  try {
    if (count != 7) throw std::runtime_error("wrong arguments");
    const halcyra::Order order{
        .parse = std::string(argument[1]) == "parse",
        .login = {.endpoint = {.host = "localhost",
                               .port = static_cast<std::uint16_t>(std::stoi(argument[3])),
                               .implicitTLS = std::string(argument[2]) == "tls"},
                  .username = argument[4],
                  .password = argument[5],
                  .mailbox = "INBOX"},
        .date = argument[6]};
    const std::size_t bytes = halcyra::run(order);
    std::printf("%zu %ld\n", bytes, halcyra::peakMemory());
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "imap_fetch: %s\n", error.what());
    return 1;
  }
}

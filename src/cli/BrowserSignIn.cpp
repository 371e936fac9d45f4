#include "cli/BrowserSignIn.h"

#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <exception>
#include <optional>

#include "cli/Messages.h"
#include "text/ControlCharacters.h"

namespace halcyra {
namespace {

Task<void> stopOnCtrlC(boost::asio::signal_set& signals, std::stop_source stop) {
  boost::system::error_code cancelled;
  co_await signals.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
  if (cancelled) co_return;
  stop.request_stop();
  signals.clear();  // a second one ends the program, whatever it waits for
}

AnnounceAddress announceTo(std::ostream& err) {
  return [&err](const std::string& address, bool browserStarted) {
    err << (browserStarted ? "Sign in in the browser. If it did not open, go to:\n"
                           : "Open this address in a browser on this machine:\n")
        << printable(address) << "\nCtrl-C gives up." << std::endl;
  };
}

Task<int> signIn(Session& session, BeginSignIn begin, ExplainFailure explain) {
  const Executor executor = co_await boost::asio::this_coro::executor;
  boost::asio::signal_set signals(executor, SIGINT, SIGTERM);
  std::stop_source stop;
  Task<void> stopping = stopOnCtrlC(signals, stop);
  boost::asio::co_spawn(executor, std::move(stopping), boost::asio::detached);
  std::optional<std::string> failure;
  try {
    Task<std::string> running = begin(announceTo(session.err), stop.get_token());
    session.out << co_await std::move(running) << '\n';
  } catch (const std::exception& error) {
    failure = explain(error.what());
  }
  signals.cancel();
  if (!failure) co_return 0;
  complain(session.err, failure->empty() ? "the provider gave no reason" : *failure);
  co_return 1;
}

}  // namespace

int runSignIn(Session& session, BeginSignIn begin, ExplainFailure explain) {
  return session.app.run(signIn(session, std::move(begin), std::move(explain)));
}

}  // namespace halcyra

#include "signin/OAuthLoopbackServer.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <list>
#include <utility>
#include <vector>

#include "signin/OAuthFlowError.h"
#include "signin/RequestLine.h"

namespace halcyra {
namespace {

namespace asio = boost::asio;

// The first line of a connection, or nothing when there is none to answer.
Task<std::optional<std::string>> firstLine(ByteStream& stream) {
  RequestLine line;
  std::vector<char> room(RequestLine::longest);
  for (;;) {
    Task<Received> receiving = stream.receive(room, {});
    const Received received = co_await std::move(receiving);
    const auto state = line.add({room.data(), received.count});
    if (state == RequestLine::State::complete) co_return line.text();
    if (state == RequestLine::State::unusable || received.finished) co_return std::nullopt;
  }
}

// Reads what else the client has sent until it closes, for 2 seconds at most: closing a socket that
// holds unread bytes would reset the connection, and the answer could be lost on its way.
Task<void> lingerOver(ByteStream& stream) {
  std::vector<char> room(65536);
  for (int piece = 0; piece < 8; ++piece) {
    Task<Received> receiving = stream.receive(room, {std::chrono::milliseconds(250), {}});
    const Received received = co_await std::move(receiving);
    if (received.finished || received.count == 0) co_return;
  }
}

}  // namespace

struct OAuthLoopbackServer::State {
  explicit State(const Executor& executor)
      : changed(executor, asio::steady_timer::time_point::max()) {}

  std::optional<std::string> redirectURL;
  bool answered = false;        // the redirect, as far as that could be done
  asio::steady_timer changed;   // never expires; cancelled to wake the waiting side
  std::list<ByteStream*> open;  // oldest first
};

/// A connection's place among the open ones.
class OAuthLoopbackServer::Registration {
 public:
  Registration(State& state, ByteStream& stream)
      : state_(state), place_(state.open.insert(state.open.end(), &stream)) {
    auto oldest = state_.open.begin();
    for (std::size_t left = state_.open.size(); left > mostConnections; --left) {
      (*oldest++)->close();
    }
  }
  ~Registration() { state_.open.erase(place_); }
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;

 private:
  State& state_;
  std::list<ByteStream*>::iterator place_;
};

OAuthLoopbackServer::OAuthLoopbackServer(LoopbackListener& listener, const Executor& executor,
                                         std::uint16_t port)
    : state_(std::make_shared<State>(executor)), connections_(executor) {
  try {
    listening_ = listener.listen(port, [this, executor](std::unique_ptr<ByteStream> stream) {
      connections_.spawn(executor, serve(state_, std::move(stream)));
    });
  } catch (const ListenError& error) {
    throw OAuthFlowError::loopbackListenFailed(error.what());
  }
}

OAuthLoopbackServer::~OAuthLoopbackServer() {
  dropAll();
}

void OAuthLoopbackServer::dropAll() {
  listening_.reset();
  for (ByteStream* stream : state_->open) stream->close();
}

Task<std::optional<std::string>> OAuthLoopbackServer::redirect(std::stop_token stop) {
  const std::shared_ptr<State> state = state_;
  const std::stop_callback wake(stop, [state] {
    asio::post(state->changed.get_executor(), [state] { state->changed.cancel(); });
  });
  while (!state->answered && !stop.stop_requested()) {
    boost::system::error_code cancelled;
    co_await state->changed.async_wait(asio::redirect_error(asio::use_awaitable, cancelled));
  }
  co_return state->redirectURL;
}

Task<void> OAuthLoopbackServer::stop() {
  dropAll();
  return connections_.drained();
}

Task<void> OAuthLoopbackServer::serve(std::shared_ptr<State> state,
                                      std::unique_ptr<ByteStream> stream) {
  const Registration registration(*state, *stream);
  bool isRedirect = false;
  try {
    Task<std::optional<std::string>> reading = firstLine(*stream);
    const std::optional<std::string> line = co_await std::move(reading);
    if (line) {
      RequestReply reply = replyToRequestLine(*line, state->redirectURL.has_value());
      isRedirect = reply.redirectURL.has_value();
      if (isRedirect) state->redirectURL = std::move(reply.redirectURL);
      Task<void> sending = stream->send(std::move(reply.answer));
      co_await std::move(sending);
      Task<void> lingering = lingerOver(*stream);
      co_await std::move(lingering);
    }
  } catch (const std::exception&) {
    // The client went away; a redirect that it brought counts all the same.
  }
  stream->close();
  if (!isRedirect) co_return;
  state->answered = true;
  state->changed.cancel();
}

}  // namespace halcyra

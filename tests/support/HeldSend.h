#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <optional>
#include <string>
#include <vector>

#include "triage/SuggestionPresenter.h"

namespace halcyra {

// A send that ends when the test says so.
struct HeldSend {
  explicit HeldSend(boost::asio::io_context& context)
      : ended(context, boost::asio::steady_timer::time_point::max()) {}

  static Task<SendResult> run(HeldSend* self, std::string text, std::optional<std::string> rule) {
    self->asked.push_back(text + "|" + rule.value_or("-"));
    boost::system::error_code cancelled;
    co_await self->ended.async_wait(
        boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
    ++self->finished;
    co_return self->result;
  }

  SendReply reply() {
    return [this](std::string text, std::optional<std::string> rule) {
      return run(this, std::move(text), std::move(rule));
    };
  }

  boost::asio::steady_timer ended;
  std::vector<std::string> asked;
  SendResult result{true, std::nullopt};
  int finished = 0;
};

}  // namespace halcyra

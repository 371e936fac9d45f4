#include "platform/linux/OperationLimit.h"

#include <boost/asio/post.hpp>

namespace halcyra {

OperationLimit::OperationLimit(boost::asio::ip::tcp::socket& socket, Deadline deadline,
                               const std::stop_token& stop)
    : target_(std::make_shared<Target>(Target{&socket})),
      timer_(socket.get_executor(), deadline),
      onStop_(stop, CancelSoon{socket.get_executor(), target_}) {
  timer_.async_wait([target = target_](const boost::system::error_code& error) {
    if (!error) cancel(*target);
  });
}

OperationLimit::~OperationLimit() {
  target_->socket = nullptr;
}

void OperationLimit::cancel(Target& target) {
  boost::system::error_code ignored;
  if (target.socket) target.socket->cancel(ignored);
}

void OperationLimit::CancelSoon::operator()() const {
  boost::asio::post(executor, [target = target] { cancel(*target); });
}

}  // namespace halcyra

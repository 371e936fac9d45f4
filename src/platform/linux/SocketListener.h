#pragma once

#include "platform/LoopbackListener.h"
#include "platform/Task.h"

namespace halcyra {

/// Listening sockets of the system. The executor must run one thing at a time; `listen` and the end
/// of its result happen there.
class SocketListener : public LoopbackListener {
 public:
  explicit SocketListener(Executor executor) : executor_(std::move(executor)) {}

  std::unique_ptr<Listening> listen(std::uint16_t port, Accepted accepted) override;

 private:
  Executor executor_;
};

}  // namespace halcyra

#pragma once

#include <deque>
#include <memory>
#include <string>

#include "Wire.h"
#include "platform/ByteStream.h"

namespace halcyra {

/// Connections whose bytes cross a wire. A stall takes no time: it is told as the connection's own
/// limit would be. `inner` and `wire` outlive the connections.
class FaultyConnector : public StreamConnector {
 public:
  FaultyConnector(StreamConnector& inner, Wire& wire) : inner_(inner), wire_(wire) {}

  Task<std::unique_ptr<ByteStream>> connect(Endpoint endpoint) override;

 private:
  class Stream;

  StreamConnector& inner_;
  Wire& wire_;
};

}  // namespace halcyra

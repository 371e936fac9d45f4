#pragma once

#include <deque>
#include <memory>
#include <string>

#include "Wire.h"
#include "platform/ByteStream.h"

namespace halcyra {

/// The same stream, except that its bytes cross a wire, which outlives it. What stalls ends at
/// once, with the failure or the silence that a limit would bring.
std::unique_ptr<ByteStream> overWire(std::unique_ptr<ByteStream> inner, Wire& wire);

/// Connections whose bytes cross a wire. `inner` and `wire` outlive the connections.
class FaultyConnector : public StreamConnector {
 public:
  FaultyConnector(StreamConnector& inner, Wire& wire) : inner_(inner), wire_(wire) {}

  Task<std::unique_ptr<ByteStream>> connect(Endpoint endpoint) override;

 private:
  StreamConnector& inner_;
  Wire& wire_;
};

}  // namespace halcyra

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>

#include "platform/ByteStream.h"

namespace halcyra {

/// A port that cannot be listened on. `what()` is the system's reason, such as "Address already in
/// use".
class ListenError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A port that is being listened on, until this object goes. Connections that were made stay.
class Listening {
 public:
  virtual ~Listening() = default;
};

/// Takes connections that come from this machine and from no other.
class LoopbackListener {
 public:
  using Accepted = std::function<void(std::unique_ptr<ByteStream>)>;

  virtual ~LoopbackListener() = default;

  /// Listens on 127.0.0.1 and, where the machine has it, on ::1; "localhost" may mean either.
  /// `accepted` is called on the listener's executor, on which the streams are used too, and not
  /// after the result has gone. Throws ListenError.
  virtual std::unique_ptr<Listening> listen(std::uint16_t port, Accepted accepted) = 0;
};

}  // namespace halcyra

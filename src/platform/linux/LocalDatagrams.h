#pragma once

#include <string>
#include <string_view>

#include "platform/linux/Descriptor.h"

namespace halcyra {

/// Datagrams to a socket of this machine (unix(7)). Nothing here waits: what the other side does
/// not take at once fails, with the reason in errno. Any thread may send.
class LocalDatagrams {
 public:
  explicit LocalDatagrams(std::string path);

  bool send(std::string_view bytes) const;

  /// A datagram without bytes that hands over a descriptor.
  bool sendDescriptor(int descriptor) const;

 private:
  const std::string path_;
  const Descriptor socket_;
};

}  // namespace halcyra

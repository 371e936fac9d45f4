#pragma once

#include <unistd.h>

namespace halcyra {

/// A file descriptor that is closed when this goes.
class Descriptor {
 public:
  explicit Descriptor(int value) : value_(value) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { close(); }

  bool isOpen() const { return value_ >= 0; }
  int get() const { return value_; }

  /// False when the system reports a failed write only now.
  bool close() {
    const int value = value_;
    value_ = -1;
    return value < 0 || ::close(value) == 0;
  }

 private:
  int value_;
};

}  // namespace halcyra

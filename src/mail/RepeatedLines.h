#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "text/SecretHash.h"

namespace halcyra {

/// Remembers lines with little more than their own text: one buffer and a table of places in it.
class LineMemory {
 public:
  LineMemory();

  /// True when the line, which holds no line feed and is not empty, is met for the first time.
  /// Lines that would begin behind the first 4 GiB are not remembered.
  bool isNew(std::string_view line);

 private:
  bool isAt(std::size_t place, std::string_view line) const;
  void grow();

  SecretHash hash_;
  std::string lines_;  // each behind a line feed and closed by the next
  std::size_t kept_ = 0;
  std::vector<std::uint32_t> places_;  // open addressing, 0 is free; its size is a power of two
};

}  // namespace halcyra

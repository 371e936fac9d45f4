#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "text/SecretHash.h"

namespace halcyra {

/// Remembers the lines at the front of a text by their places there, so that it needs little memory
/// of its own. Lines are equal when their lower-case forms are.
class LineMemory {
 public:
  /// The text may be rewritten behind the lines that are remembered, and must outlive the memory.
  explicit LineMemory(std::string_view text);

  /// True when the line of `size` bytes at `place` is met for the first time. It is not empty, and
  /// a line feed follows it unless it is the last line asked for. A new line must stay where it is.
  /// Lines that begin behind the first 4 GiB are not remembered.
  bool isNew(std::size_t place, std::size_t size);

 private:
  std::uint64_t hashOf(std::string_view line);
  bool isAt(std::size_t place) const;
  void grow();

  SecretHash hash_;
  std::string_view text_;
  std::size_t kept_ = 0;
  // Open addressing; holds places plus one, and 0 is free. Its size is a power of two.
  std::vector<std::uint32_t> slots_;
  std::string lower_;  // the line that was hashed last
};

}  // namespace halcyra

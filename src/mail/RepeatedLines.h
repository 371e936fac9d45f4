#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "text/SecretHash.h"

namespace halcyra {

/// Remembers the lines at the front of a text, which hold nothing else but empty lines, by their
/// places there, so that it needs little memory of its own. Lines are equal when their lower-case
/// forms are.
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
  std::uint32_t tagOf(std::uint64_t hash) const;
  std::uint32_t entryOf(std::size_t place, std::uint64_t hash) const;
  void grow(std::size_t end);

  SecretHash hash_;
  std::string_view text_;
  std::size_t kept_ = 0;
  int placeBits_;
  // Open addressing; holds places plus one in the low bits and a tag above, and 0 is free. Its size
  // is a power of two.
  std::vector<std::uint32_t> slots_;
  std::string lower_;  // the line that was hashed last
};

}  // namespace halcyra

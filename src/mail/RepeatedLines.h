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

  /// So many lines are best hashed ahead.
  static constexpr std::size_t linesAhead = 16;

  /// The lower-case form of lines, which may be another size. Holds until the next call of this or
  /// of isNew.
  std::string_view lowered(std::string_view lines);

  /// What `isNew` needs of a line, from its lower-case form. The place of the memory where it
  /// belongs is asked for, and comes while further lines are hashed: in a large memory each is far
  /// away.
  std::uint64_t hashAhead(std::string_view lower);

  /// True when the line of `size` bytes at `place` is met for the first time. It is not empty, and
  /// a line feed follows it unless it is the last line asked for. A new line must stay where it is.
  /// Lines that begin behind the first 4 GiB are not remembered.
  bool isNew(std::size_t place, std::size_t size, std::uint64_t hash);

 private:
  bool areEqual(std::string_view line, std::size_t place);
  std::uint32_t tagOf(std::uint64_t hash) const;
  void keep(std::size_t place, std::uint64_t hash);
  void grow(std::size_t end);

  SecretHash hash_;
  std::string_view text_;
  std::size_t kept_ = 0;
  int placeBits_;
  // Open addressing; holds places plus one in the low bits and a tag above, and 0 is free. Its size
  // is a power of two.
  std::vector<std::uint32_t> slots_;
  std::string lower_;  // what was put into lower case last
};

}  // namespace halcyra

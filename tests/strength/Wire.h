#pragma once

#include <cstddef>
#include <limits>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace halcyra {

enum class FaultKind { none, cut, stall, split, flipLowBit, flipHighBit };

inline constexpr FaultKind allFaults[] = {FaultKind::cut, FaultKind::stall, FaultKind::split,
                                          FaultKind::flipLowBit, FaultKind::flipHighBit};

std::string_view nameOf(FaultKind kind);

inline bool isFlip(FaultKind kind) {
  return kind == FaultKind::flipLowBit || kind == FaultKind::flipHighBit;
}

struct Fault {
  FaultKind kind = FaultKind::none;
  /// The byte that it strikes, counted over all that crosses the wire, both ways.
  std::size_t at = std::numeric_limits<std::size_t>::max();
};

/// Counts what crosses the connections of an exchange and does one fault, once. Any thread may
/// call.
class Wire {
 public:
  explicit Wire(Fault fault) : fault_(fault) {}

  struct Crossing {
    /// What arrives, each piece by itself.
    std::vector<std::string> pieces;
    /// What becomes of this connection afterwards: none, cut or stall.
    FaultKind ending = FaultKind::none;
  };
  Crossing cross(std::string bytes);

  std::size_t crossed() const;
  /// The fault will not come any more, if it has not yet.
  void heal();

 private:
  mutable std::mutex lock_;
  Fault fault_;
  std::size_t crossed_ = 0;
};

}  // namespace halcyra

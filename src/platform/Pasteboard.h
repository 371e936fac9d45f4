#pragma once

#include <string>

namespace halcyra {

/// The general clipboard.
class Pasteboard {
 public:
  virtual ~Pasteboard() = default;

  /// Replaces what the clipboard holds. Never throws; returns at once.
  virtual void setText(const std::string& text) = 0;
};

}  // namespace halcyra

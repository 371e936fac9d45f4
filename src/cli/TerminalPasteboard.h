#pragma once

#include <ostream>

#include "cli/SuggestionCard.h"
#include "platform/Pasteboard.h"

namespace halcyra {

/// The clipboard of the desktop that shows the terminal, also over a remote shell. Terminals that
/// do not let programs set it drop the text.
class TerminalPasteboard : public Pasteboard {
 public:
  /// `out` outlives the object.
  explicit TerminalPasteboard(std::ostream& out) : out_(out) {}

  void setText(const std::string& text) override { out_ << clipboardSequence(text) << std::flush; }

 private:
  std::ostream& out_;
};

}  // namespace halcyra

#pragma once

#include <string>

namespace halcyra {

/// The user's own web browser.
class Browser {
 public:
  virtual ~Browser() = default;

  /// Shows an http or https address. True when a browser was asked to; whether it comes up is not
  /// known. Returns at once and never throws.
  virtual bool open(const std::string& address) = 0;
};

}  // namespace halcyra

#pragma once

#include <string>
#include <utility>

#include "platform/Browser.h"

namespace halcyra {

/// The desktop's browser, through a program that is given the address as its only argument.
class XdgBrowser : public Browser {
 public:
  explicit XdgBrowser(std::string program = "xdg-open") : program_(std::move(program)) {}

  /// False for any other address than http and https, and when the program cannot be started.
  bool open(const std::string& address) override;

 private:
  std::string program_;
};

}  // namespace halcyra

#pragma once

#include <optional>
#include <string>

#include "sandbox/ChildProcess.h"

namespace halcyra {

/// The option with which unshare(1) gives a program mounts of its own; nothing where this user may
/// not have that.
inline std::optional<std::string> ownMounts() {
  for (const char* option : {"-m", "-Urm"}) {
    sandbox::ChildProcess trial({{"unshare", option, "/bin/mount", "-t", "tmpfs", "none", "/mnt"}});
    const auto ending = trial.wait(std::chrono::seconds(20));
    if (ending && ending->status == 0) return option;
  }
  return std::nullopt;
}

}  // namespace halcyra

#pragma once

#include <string>
#include <vector>

namespace halcyra::bench {

/// What a run of a program cost, process start included, and what it printed.
struct ProgramRun {
  double wallMilliseconds = 0;
  /// User and system time.
  double cpuMilliseconds = 0;
  std::string output;
};

/// Runs a program, by path or searched in PATH, to its end. Throws std::runtime_error when it
/// fails.
ProgramRun runProgram(const std::vector<std::string>& command);

}  // namespace halcyra::bench

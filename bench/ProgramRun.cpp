#include "bench/ProgramRun.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <system_error>

namespace halcyra::bench {
namespace {

pid_t started(const std::vector<std::string>& command, int output) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  pid_t id = 0;
  const int error = posix_spawnp(&id, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::system_error(error, std::generic_category(), command.front());
  return id;
}

std::string readToEnd(int file) {
  std::string text;
  char room[4096];
  for (ssize_t count; (count = read(file, room, sizeof room)) > 0;) {
    text.append(room, static_cast<std::size_t>(count));
  }
  return text;
}

double milliseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

}  // namespace

ProgramRun runProgram(const std::vector<std::string>& command) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  const auto begun = std::chrono::steady_clock::now();
  const pid_t id = started(command, ends[1]);
  close(ends[1]);
  ProgramRun run;
  run.output = readToEnd(ends[0]);
  close(ends[0]);
  int status = 0;
  rusage usage{};
  wait4(id, &status, 0, &usage);
  run.wallMilliseconds =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begun).count();
  run.cpuMilliseconds = milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
  if (status != 0) throw std::runtime_error(command.front() + " failed");
  return run;
}

}  // namespace halcyra::bench

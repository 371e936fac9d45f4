#include "sandbox/ChildProcess.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

extern char** environ;

namespace halcyra::sandbox {

namespace {

[[noreturn]] void throwSystemError(int error, const std::string& what) {
  throw std::system_error(error, std::generic_category(), what);
}

struct PipeEnds {
  int read = -1;
  int write = -1;
};

PipeEnds makePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throwSystemError(errno, "pipe");
  return {ends[0], ends[1]};
}

std::vector<std::string> mergedEnvironment(const std::map<std::string, std::string>& changes) {
  std::vector<std::string> result;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    if (!changes.contains(std::string(text.substr(0, text.find('='))))) result.emplace_back(text);
  }
  for (const auto& [name, value] : changes) {
    if (!value.empty()) result.push_back(name + "=" + value);
  }
  return result;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
  std::vector<char*> result;
  for (std::string& text : strings) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

// All that the child needs between fork and exec, where nothing may allocate.
struct Launch {
  std::vector<std::string> arguments;
  std::vector<std::string> environment;
  std::vector<char*> argv = {};
  std::vector<char*> envp = {};
  PipeEnds in = {};
  PipeEnds out = {};
  PipeEnds err = {};
  PipeEnds failure = {};
  pid_t parent = 0;
};

bool takeIdentity(const Command& command) {
  if (!command.user || !command.group) return true;
  return setgroups(0, nullptr) == 0 && setgid(*command.group) == 0 && setuid(*command.user) == 0;
}

bool limitMemory(const Command& command) {
  if (!command.memoryLimit) return true;
  const rlimit limit{*command.memoryLimit, *command.memoryLimit};
  return setrlimit(RLIMIT_AS, &limit) == 0;
}

[[noreturn]] void becomeProgram(const Launch& launch, const Command& command) {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  ::signal(SIGPIPE, SIG_DFL);
  const bool ready =
      dup2(launch.in.read, STDIN_FILENO) >= 0 && dup2(launch.out.write, STDOUT_FILENO) >= 0 &&
      dup2(launch.err.write, STDERR_FILENO) >= 0 && takeIdentity(command) && limitMemory(command) &&
      // After the change of identity, which resets it.
      prctl(PR_SET_PDEATHSIG, command.signalAtParentsEnd) == 0;
  if (ready && getppid() == launch.parent) {
    execvpe(launch.argv[0], launch.argv.data(), launch.envp.data());
  }
  const int error = errno;
  [[maybe_unused]] const ssize_t told = write(launch.failure.write, &error, sizeof error);
  _exit(127);
}

void setNonBlocking(int fd) {
  fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
}

}  // namespace

ChildProcess::ChildProcess(const Command& command) {
  Launch launch{command.arguments, mergedEnvironment(command.environment)};
  launch.argv = pointers(launch.arguments);
  launch.envp = pointers(launch.environment);
  launch.in = makePipe();
  launch.out = makePipe();
  launch.err = makePipe();
  launch.failure = makePipe();
  launch.parent = getpid();
  id_ = fork();
  if (id_ == 0) becomeProgram(launch, command);
  const int forkError = errno;
  for (const int fd : {launch.in.read, launch.out.write, launch.err.write, launch.failure.write}) {
    close(fd);
  }
  input_ = launch.in.write;
  output_.fd = launch.out.read;
  errors_.fd = launch.err.read;
  int error = id_ < 0 ? forkError : 0;
  if (id_ > 0 && read(launch.failure.read, &error, sizeof error) <= 0) error = 0;
  close(launch.failure.read);
  if (error != 0) {
    for (const int fd : {input_, output_.fd, errors_.fd}) close(fd);
    if (id_ > 0) waitpid(id_, nullptr, 0);
    throwSystemError(error, "cannot start " + command.arguments.front());
  }
  exitFd_ = static_cast<int>(syscall(SYS_pidfd_open, id_, 0));
  setNonBlocking(output_.fd);
  setNonBlocking(errors_.fd);
  collector_ = std::thread([this] { collect(); });
}

ChildProcess::~ChildProcess() {
  if (!reap(false)) {
    kill(id_, SIGKILL);
    reap(true);
  }
  collector_.join();
  for (const int fd : {input_, output_.fd, errors_.fd, exitFd_}) {
    if (fd >= 0) close(fd);
  }
}

// Ends with the program, or with its output, whichever comes later; a grandchild that keeps the
// pipes open does not keep this thread.
void ChildProcess::collect() {
  bool running = true;
  while (running || !output_.ended || !errors_.ended) {
    std::array<pollfd, 3> waits{pollfd{output_.ended ? -1 : output_.fd, POLLIN, 0},
                                pollfd{errors_.ended ? -1 : errors_.fd, POLLIN, 0},
                                pollfd{running ? exitFd_ : -1, POLLIN, 0}};
    if (poll(waits.data(), waits.size(), -1) < 0 && errno != EINTR) break;
    const bool ended = waits[2].revents != 0;
    const bool moreOutput = collectFrom(output_);
    const bool moreErrors = collectFrom(errors_);
    if (ended) running = false;
    if (!running && !moreOutput && !moreErrors) break;
  }
  const std::lock_guard held(lock_);
  output_.ended = errors_.ended = true;
  arrived_.notify_all();
}

// Takes what is there; true when there was something.
bool ChildProcess::collectFrom(Pipe& pipe) {
  if (pipe.ended) return false;
  std::array<char, 65536> room;
  const ssize_t count = read(pipe.fd, room.data(), room.size());
  if (count < 0) return false;
  const std::lock_guard held(lock_);
  if (count == 0) pipe.ended = true;
  pipe.text.append(room.data(), static_cast<std::size_t>(count));
  arrived_.notify_all();
  return count > 0;
}

void ChildProcess::writeInput(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(input_, text.data(), text.size());
    if (count <= 0) break;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

void ChildProcess::finishInput(std::string_view text) {
  writeInput(text);
  close(input_);
  input_ = -1;
}

std::optional<std::string> ChildProcess::readLine(Milliseconds longest) {
  std::unique_lock held(lock_);
  const auto lineEnd = [&] { return output_.text.find('\n', consumed_); };
  arrived_.wait_for(held, longest, [&] { return output_.ended || lineEnd() != std::string::npos; });
  const std::size_t end = lineEnd();
  if (end == std::string::npos) return std::nullopt;
  std::string line = output_.text.substr(consumed_, end - consumed_);
  consumed_ = end + 1;
  return line;
}

bool ChildProcess::waitFor(const Pipe& pipe, const std::function<bool(std::string_view)>& condition,
                           Milliseconds longest) {
  std::unique_lock held(lock_);
  bool met = false;
  arrived_.wait_for(held, longest, [&] { return (met = condition(pipe.text)) || pipe.ended; });
  return met;
}

bool ChildProcess::waitForOutput(const std::function<bool(std::string_view)>& condition,
                                 Milliseconds longest) {
  return waitFor(output_, condition, longest);
}

bool ChildProcess::waitForErrors(const std::function<bool(std::string_view)>& condition,
                                 Milliseconds longest) {
  return waitFor(errors_, condition, longest);
}

std::string ChildProcess::output() const {
  const std::lock_guard held(lock_);
  return output_.text;
}

std::string ChildProcess::errors() const {
  const std::lock_guard held(lock_);
  return errors_.text;
}

void ChildProcess::signal(int number) {
  if (!reap(false)) kill(id_, number);
}

std::optional<Ending> ChildProcess::reap(bool block) {
  if (ending_) return ending_;
  int status = 0;
  rusage usage{};
  pid_t done = 0;
  do {
    done = wait4(id_, &status, block ? 0 : WNOHANG, &usage);
  } while (done < 0 && errno == EINTR);
  if (done != id_) return std::nullopt;
  ending_ = Ending{WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status),
                   static_cast<std::size_t>(usage.ru_maxrss) * 1024};
  return ending_;
}

std::optional<Ending> ChildProcess::wait(Milliseconds longest) {
  const auto deadline = std::chrono::steady_clock::now() + longest;
  while (!ending_) {
    const auto left = std::chrono::ceil<Milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd ended{exitFd_, POLLIN, 0};
    const int answer = poll(&ended, 1, static_cast<int>(std::max(left, Milliseconds(0)).count()));
    if (answer > 0) reap(true);
    if (answer == 0) return std::nullopt;
  }
  // What it wrote last is part of what it said.
  std::unique_lock held(lock_);
  arrived_.wait_for(held, longest, [&] { return output_.ended && errors_.ended; });
  return ending_;
}

Ending ChildProcess::stop(Milliseconds patience) {
  signal(SIGTERM);
  if (const auto ending = wait(patience)) return *ending;
  kill(id_, SIGKILL);
  return *reap(true);
}

}  // namespace halcyra::sandbox

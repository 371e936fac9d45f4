#pragma once

#include <signal.h>
#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace halcyra::sandbox {

/// How to start a program.
struct Command {
  /// The program, by path or searched in PATH, then its arguments.
  std::vector<std::string> arguments;
  /// Added to the parent's environment; an empty value removes the variable.
  std::map<std::string, std::string> environment = {};
  /// Run as this account instead of the parent's own (needs root).
  std::optional<uid_t> user = {};
  std::optional<gid_t> group = {};
  /// Most address space that the program may take, in bytes.
  std::optional<std::size_t> memoryLimit = {};
  /// What the system sends it when the thread that started it ends.
  int signalAtParentsEnd = SIGKILL;
};

/// How a program ended.
struct Ending {
  /// Exit status, or 128 and the signal's number.
  int status = 0;
  /// Most memory that it had in use at once.
  std::size_t peakBytes = 0;
};

/// A program that this process started. Its output is collected all the time, so it never blocks on
/// a full pipe. It is killed when this object goes, and by the system when the thread that started
/// it ends, however that happens.
class ChildProcess {
 public:
  using Milliseconds = std::chrono::milliseconds;

  /// Throws std::system_error when the program cannot be started.
  explicit ChildProcess(const Command& command);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t id() const { return id_; }

  /// Writes to the program's standard input.
  void writeInput(std::string_view text);
  /// Writes to the program's standard input and closes it.
  void finishInput(std::string_view text = {});

  /// The next line of standard output without its line feed, or nothing when the output ended or
  /// the time is over.
  std::optional<std::string> readLine(Milliseconds longest);

  /// Waits until standard output, or standard error, satisfies the condition. False when the time
  /// is over, or when the output ended before it did.
  bool waitForOutput(const std::function<bool(std::string_view)>& condition, Milliseconds longest);
  bool waitForErrors(const std::function<bool(std::string_view)>& condition, Milliseconds longest);

  /// All of standard output and standard error so far.
  std::string output() const;
  std::string errors() const;

  void signal(int number);

  /// Waits for the end; nothing when the time is over.
  std::optional<Ending> wait(Milliseconds longest);

  /// Asks it to end with SIGTERM, kills it when it has not ended in time.
  Ending stop(Milliseconds patience);

 private:
  struct Pipe {
    int fd = -1;
    std::string text;
    bool ended = false;
  };

  void collect();
  bool collectFrom(Pipe& pipe);
  bool waitFor(const Pipe& pipe, const std::function<bool(std::string_view)>& condition,
               Milliseconds longest);
  std::optional<Ending> reap(bool block);

  pid_t id_ = -1;
  int exitFd_ = -1;  // becomes readable when the program ends
  int input_ = -1;
  mutable std::mutex lock_;
  std::condition_variable arrived_;
  Pipe output_;
  Pipe errors_;
  std::size_t consumed_ = 0;
  std::optional<Ending> ending_;
  std::thread collector_;
};

}  // namespace halcyra::sandbox

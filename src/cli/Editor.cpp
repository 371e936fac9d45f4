#include "cli/Editor.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string>

extern char** environ;

namespace halcyra {
namespace {

constexpr const char* noEditor = "no editor was found; set EDITOR to the command of yours";
constexpr int commandNotFound = 127;  // POSIX shells' exit status

// The variables hold a shell command that may have arguments of its own.
std::string editorScript(const Variables& variables, bool atTerminal) {
  for (const char* name : {"VISUAL", "EDITOR"}) {
    if (const auto command = variables(name)) return *command + " \"$1\"";
  }
  if (!atTerminal) throw std::runtime_error(noEditor);
  return "for editor in sensible-editor nano vi; do command -v $editor "
         ">/dev/null && "
         "exec $editor \"$1\"; done; exit 127";
}

// Ctrl-C and Ctrl-\ in the editor are the editor's, not the end of the program that waits for it.
class KeyboardSignalsIgnored {
 public:
  KeyboardSignalsIgnored()
      : interrupt_(std::signal(SIGINT, SIG_IGN)), quit_(std::signal(SIGQUIT, SIG_IGN)) {}
  ~KeyboardSignalsIgnored() {
    std::signal(SIGINT, interrupt_);
    std::signal(SIGQUIT, quit_);
  }
  KeyboardSignalsIgnored(const KeyboardSignalsIgnored&) = delete;
  KeyboardSignalsIgnored& operator=(const KeyboardSignalsIgnored&) = delete;

 private:
  void (*interrupt_)(int);
  void (*quit_)(int);
};

pid_t spawnShell(std::string script, std::string argument) {
  std::string shell = "sh";
  std::string option = "-c";
  char* arguments[] = {shell.data(), option.data(),   script.data(),
                       shell.data(), argument.data(), nullptr};
  sigset_t defaults;
  sigemptyset(&defaults);
  for (const int signal : {SIGINT, SIGQUIT, SIGPIPE}) sigaddset(&defaults, signal);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t process = 0;
  const int failure = posix_spawn(&process, "/bin/sh", nullptr, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  if (failure != 0) {
    throw std::runtime_error(std::string("the editor could not be run: ") + std::strerror(failure));
  }
  return process;
}

}  // namespace

void editFile(const Variables& variables, bool atTerminal, const std::filesystem::path& file) {
  const std::string script = editorScript(variables, atTerminal);
  const KeyboardSignalsIgnored ignored;
  const pid_t process = spawnShell(script, file.string());
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) throw std::runtime_error("the editor was lost");
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return;
  if (WIFEXITED(status) && WEXITSTATUS(status) == commandNotFound) {
    throw std::runtime_error(noEditor);
  }
  throw std::runtime_error("the editor ended with an error");
}

}  // namespace halcyra

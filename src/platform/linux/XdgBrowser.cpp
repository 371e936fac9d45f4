#include "platform/linux/XdgBrowser.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>
#include <thread>

extern char** environ;

namespace halcyra {
namespace {

// No terminal and none of our descriptors: a browser that stays open would otherwise write into our
// output and keep our listening port.
class OwnDescriptors {
 public:
  OwnDescriptors() {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&actions_, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, STDIN_FILENO, STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
  }
  ~OwnDescriptors() { posix_spawn_file_actions_destroy(&actions_); }
  OwnDescriptors(const OwnDescriptors&) = delete;
  OwnDescriptors& operator=(const OwnDescriptors&) = delete;

  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

// A session of its own, which a Ctrl-C in our terminal does not reach, and signals as usual.
class OwnSession {
 public:
  OwnSession() {
    posix_spawnattr_init(&attributes_);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes_, &signals);
    posix_spawnattr_setflags(&attributes_,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~OwnSession() { posix_spawnattr_destroy(&attributes_); }
  OwnSession(const OwnSession&) = delete;
  OwnSession& operator=(const OwnSession&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

// Some desktops' programs end only with the browser, so a thread waits for this one.
void reapInBackground(pid_t child) {
  try {
    std::thread([child] { waitpid(child, nullptr, 0); }).detach();
  } catch (const std::system_error&) {
    // Without a thread it stays a zombie until this program ends, which does no harm.
  }
}

}  // namespace

bool XdgBrowser::open(const std::string& address) {
  if (!address.starts_with("https://") && !address.starts_with("http://")) return false;
  const OwnDescriptors descriptors;
  const OwnSession session;
  std::string program = program_, argument = address;
  char* const arguments[] = {program.data(), argument.data(), nullptr};
  pid_t child = 0;
  if (posix_spawnp(&child, program.c_str(), descriptors.get(), session.get(), arguments, environ) !=
      0) {
    return false;
  }
  reapInBackground(child);
  return true;
}

}  // namespace halcyra

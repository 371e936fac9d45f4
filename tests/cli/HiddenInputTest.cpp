#include "cli/HiddenInput.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iostream>

namespace halcyra {
namespace {

/// A process on a terminal of its own that asks for a hidden line, prints its length and stays:
/// what a process wrote just before its end can be lost to whoever reads the terminal at that
/// moment.
class Asker {
 public:
  Asker() {
    std::fflush(nullptr);  // what is still buffered would come out of the child too
    process_ = forkpty(&terminal_, nullptr, nullptr, nullptr);
    if (process_ == 0) {
      const std::string line = readHiddenLine("Value? ");
      std::cout << "length " << line.size() << std::endl;
      while (true) pause();
    }
  }
  ~Asker() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    close(terminal_);
  }
  Asker(const Asker&) = delete;
  Asker& operator=(const Asker&) = delete;

  /// Reads what the terminal shows until `end` is among it; after ten seconds of silence it fails.
  std::string shownUntil(const std::string& end) {
    std::string shown;
    char c = 0;
    pollfd shows{terminal_, POLLIN, 0};
    while (shown.find(end) == std::string::npos) {
      if (poll(&shows, 1, 10'000) != 1 || read(terminal_, &c, 1) != 1) {
        ADD_FAILURE() << "the terminal shows nothing more: " << std::strerror(errno);
        break;
      }
      shown += c;
    }
    return shown;
  }
  void type(const std::string& keys) {
    ASSERT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }
  bool echoes() const {
    termios settings{};
    return tcgetattr(terminal_, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
  }
  /// The status of its end, which is left for the destructor to collect.
  siginfo_t waitForEnd() const {
    siginfo_t ended{};
    waitid(P_PID, static_cast<id_t>(process_), &ended, WEXITED | WNOWAIT);
    return ended;
  }

 private:
  int terminal_ = -1;
  pid_t process_ = -1;
};

TEST(HiddenInput, NothingTypedIsShown) {
  Asker asker;
  EXPECT_EQ(asker.shownUntil("? "), "Value? ");
  EXPECT_FALSE(asker.echoes());
  asker.type("sesame\n");
  EXPECT_EQ(asker.shownUntil("6"), "\r\nlength 6");
  EXPECT_TRUE(asker.echoes());
}

TEST(HiddenInput, TheTerminalIsPutRightBeforeASignalEndsTheProgram) {
  Asker asker;
  asker.shownUntil("? ");
  asker.type("ses\x03");
  const siginfo_t ended = asker.waitForEnd();
  EXPECT_EQ(ended.si_code, CLD_KILLED);
  EXPECT_EQ(ended.si_status, SIGINT);
  EXPECT_TRUE(asker.echoes());
}

TEST(HiddenInput, TheEndOfTheInputEndsTheLine) {
  Asker asker;
  asker.shownUntil("? ");
  asker.type("\x04");
  EXPECT_EQ(asker.shownUntil("0"), "\r\nlength 0");
}

}  // namespace
}  // namespace halcyra

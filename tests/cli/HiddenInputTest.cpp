#include "cli/HiddenInput.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

namespace halcyra {
namespace {

/// A process on a terminal of its own that asks for a hidden line and then prints its length.
class Asker {
 public:
  Asker() {
    std::fflush(nullptr);  // what is still buffered would come out of the child too
    process_ = forkpty(&terminal_, nullptr, nullptr, nullptr);
    if (process_ == 0) {
      const std::string line = readHiddenLine("Value? ");
      std::cout << "length " << line.size() << std::endl;
      _exit(0);
    }
  }
  ~Asker() { close(terminal_); }

  /// Reads what the terminal shows until `end` is among it or the process has ended.
  std::string shownUntil(const std::string& end) {
    std::string shown;
    char c = 0;
    while (shown.find(end) == std::string::npos && read(terminal_, &c, 1) == 1) shown += c;
    return shown;
  }
  void type(const std::string& keys) {
    ASSERT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }
  bool echoes() const {
    termios settings{};
    return tcgetattr(terminal_, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
  }
  int waitForEnd() const {
    int status = 0;
    waitpid(process_, &status, 0);
    return status;
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
  EXPECT_EQ(asker.waitForEnd(), 0);
}

TEST(HiddenInput, TheTerminalIsPutRightBeforeASignalEndsTheProgram) {
  Asker asker;
  asker.shownUntil("? ");
  asker.type("ses\x03");
  const int status = asker.waitForEnd();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
  EXPECT_TRUE(asker.echoes());
}

TEST(HiddenInput, TheEndOfTheInputEndsTheLine) {
  Asker asker;
  asker.shownUntil("? ");
  asker.type("\x04");
  EXPECT_EQ(asker.shownUntil("0"), "\r\nlength 0");
  asker.waitForEnd();
}

}  // namespace
}  // namespace halcyra

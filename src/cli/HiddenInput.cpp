#include "cli/HiddenInput.h"

#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <optional>

namespace halcyra {
namespace {

volatile std::sig_atomic_t caughtSignal = 0;

void noteSignal(int signal) {
  caughtSignal = signal;
}

// Signals only interrupt the read, so that the terminal is put right before they take effect.
class SignalsNoted {
 public:
  SignalsNoted() {
    caughtSignal = 0;
    struct sigaction noting {};
    noting.sa_handler = noteSignal;  // without SA_RESTART: the read must end
    for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &noting, &former_[i]);
  }
  ~SignalsNoted() {
    for (std::size_t i = 0; i < signals.size(); ++i) sigaction(signals[i], &former_[i], nullptr);
  }
  SignalsNoted(const SignalsNoted&) = delete;
  SignalsNoted& operator=(const SignalsNoted&) = delete;

 private:
  static constexpr std::array signals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
  std::array<struct sigaction, signals.size()> former_{};
};

class EchoOff {
 public:
  EchoOff() : known_(tcgetattr(STDIN_FILENO, &former_) == 0) {
    termios silent = former_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (known_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
  }
  ~EchoOff() {
    if (known_) tcsetattr(STDIN_FILENO, TCSANOW, &former_);
  }
  EchoOff(const EchoOff&) = delete;
  EchoOff& operator=(const EchoOff&) = delete;

 private:
  termios former_{};
  bool known_;
};

// The line, or nothing when a signal came first. The prompt comes last, so that whatever is typed
// after it is hidden.
std::optional<std::string> readLine(const std::string& prompt) {
  const SignalsNoted noted;
  const EchoOff silent;
  std::cerr << prompt << std::flush;
  std::string line;
  while (true) {
    char c = 0;
    const ssize_t count = caughtSignal == 0 ? read(STDIN_FILENO, &c, 1) : -1;
    if (caughtSignal != 0) return std::nullopt;
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0 || c == '\n') return line;
    line += c;
  }
}

}  // namespace

std::string readHiddenLine(const std::string& prompt) {
  while (true) {
    const auto line = readLine(prompt);
    std::cerr << std::endl;
    if (line) return *line;
    std::raise(caughtSignal);  // comes back only after a stop, or when the signal is ignored
  }
}

}  // namespace halcyra

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "cli/CommandLine.h"

namespace {

constexpr halcyra::CommandRegistration commands[] = {
    halcyra::addMonitorCommand,   halcyra::addClassifyCommand,   halcyra::addParseCommand,
    halcyra::addPrefilterCommand, halcyra::addConfigCommand,     halcyra::addSecretCommand,
    halcyra::addMailboxCommand,   halcyra::addSuggestCommand,    halcyra::addSendTestCommand,
    halcyra::addSignInCommand,    halcyra::addConnectionCommand, halcyra::addAutomationCommand,
    halcyra::addLeadCommand,      halcyra::addAgendaCommands,
};

// A file opened later must not become the standard output of a program that was started without
// one. What stands in for it is opened the wrong way round, so that its use is an error.
void reserveStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) >= 0) continue;
    open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

}  // namespace

int main(int argc, char** argv) {
  reserveStandardDescriptors();
  // A reader that went away is an error of the next write, not the end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  // So is a limit on the size of files.
  std::signal(SIGXFSZ, SIG_IGN);
  halcyra::Composition composition(halcyra::processVariable, HALCYRA_INSTALLED_INFO);
  halcyra::Session session{composition, std::cin, std::cout, std::cerr, isatty(STDIN_FILENO) == 1};
  return halcyra::runCommandLine({argv + 1, argv + argc}, HALCYRA_VERSION, commands, session);
}

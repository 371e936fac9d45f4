#pragma once

#include <functional>
#include <istream>
#include <ostream>
#include <stdexcept>
#include <string>

#include "app/Composition.h"

namespace CLI {
class App;
}

namespace halcyra {

/// What a command works with.
struct Session {
  Composition& app;
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  /// Standard input is a terminal, so a person can be asked.
  bool interactive = false;
};

/// Gives the exit code: 0 done, 1 failed. An exception counts as failed, and its text is printed.
using CommandBody = std::function<int(Session&)>;

/// The command that the command line names, set while the line is parsed and run afterwards.
struct Invocation {
  CommandBody body;
};

/// Arguments that no state of the program could make right: exit code 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Each adds one command, its options and its help. Both arguments must outlive the parsing.
using CommandRegistration = void (*)(CLI::App& app, Invocation& invocation);
void addMonitorCommand(CLI::App& app, Invocation& invocation);
void addClassifyCommand(CLI::App& app, Invocation& invocation);
void addParseCommand(CLI::App& app, Invocation& invocation);
void addPrefilterCommand(CLI::App& app, Invocation& invocation);
void addConfigCommand(CLI::App& app, Invocation& invocation);
void addSecretCommand(CLI::App& app, Invocation& invocation);
void addMailboxCommand(CLI::App& app, Invocation& invocation);
void addSuggestCommand(CLI::App& app, Invocation& invocation);
void addSendTestCommand(CLI::App& app, Invocation& invocation);
void addSignInCommand(CLI::App& app, Invocation& invocation);
void addAgendaCommands(CLI::App& app, Invocation& invocation);

}  // namespace halcyra

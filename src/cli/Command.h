#pragma once

#include <istream>
#include <ostream>
#include <stdexcept>

#include "app/Composition.h"
#include "cli/CommandSyntax.h"

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

/// Arguments that no state of the program could make right: exit code 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Each adds one command, its options and its help.
using CommandRegistration = void (*)(const CommandSyntax& program);
void addMonitorCommand(const CommandSyntax& program);
void addClassifyCommand(const CommandSyntax& program);
void addParseCommand(const CommandSyntax& program);
void addPrefilterCommand(const CommandSyntax& program);
void addConfigCommand(const CommandSyntax& program);
void addSecretCommand(const CommandSyntax& program);
void addMailboxCommand(const CommandSyntax& program);
void addSuggestCommand(const CommandSyntax& program);
void addSendTestCommand(const CommandSyntax& program);
void addSignInCommand(const CommandSyntax& program);
void addConnectionCommand(const CommandSyntax& program);
void addAutomationCommand(const CommandSyntax& program);
void addLeadCommand(const CommandSyntax& program);
void addAgendaCommands(const CommandSyntax& program);

}  // namespace halcyra

#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace halcyra {

struct Session;

/// Gives the exit code: 0 done, 1 failed. An exception counts as failed, and its text is printed.
using CommandBody = std::function<int(Session&)>;

/// The command that the command line names, set while the line is parsed and run afterwards.
struct Invocation {
  CommandBody body;
};

/// How a value is asked for, and what its help says of it.
struct ValueTraits {
  /// Stands for the value in the help, for instance "ID".
  const char* name = "";
  bool isRequired = false;
  bool showsDefault = false;
};

/// Describes the program, a group of commands or a command to the parser of the command line. A
/// name with dashes is an option, one without is an argument by position. What values are put into
/// must live until the command has run. A light value; the parser behind it outlives it.
class CommandSyntax {
 public:
  CommandSyntax(CLI::App& app, Invocation& invocation) : app_(&app), invocation_(&invocation) {}

  /// A command below this one, or a group of them.
  CommandSyntax command(const std::string& name, const std::string& help) const;

  void flag(const std::string& name, bool& isSet, const std::string& help) const;

  void value(const std::string& name, std::string& value, const std::string& help,
             ValueTraits traits = {}) const;
  void value(const std::string& name, std::optional<std::string>& value, const std::string& help,
             ValueTraits traits = {}) const;
  void values(const std::string& name, std::vector<std::string>& values,
              const std::string& help) const;

  /// A number from 1 to 65535; its present value is shown as the default.
  void port(const std::string& name, std::int64_t& value, const std::string& help) const;

  /// Whatever the line has beyond what is described is refused with these words and not repeated.
  void refusesMore(const std::string& why) const;

  /// Stands below the help.
  void footer(const std::string& text) const;

  /// What happens when the line names this command.
  void runs(CommandBody body) const;

 private:
  CLI::App* app_;
  Invocation* invocation_;
};

}  // namespace halcyra

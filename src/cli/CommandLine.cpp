#include "cli/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "cli/Messages.h"

namespace halcyra {
namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

constexpr const char* description =
    "Watches mailboxes, keeps bulk mail away from the model, asks it which of your rules fits "
    "each\n"
    "message, and acts.\n";

constexpr const char* footer =
    "Start with: halcyra-cli mailbox add, halcyra-cli config edit, then halcyra-cli signin or\n"
    "halcyra-cli secret set imap.password, halcyra-cli mailbox test and halcyra-cli monitor.\n"
    "Every command has --help. Exit codes: 0 done, 1 failed, 2 wrong usage.";

CLI::App& deepest(CLI::App& app) {
  CLI::App* command = &app;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().front();
  return *command;
}

std::vector<std::string> namesOfCommands(CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* child : command.get_subcommands([](CLI::App*) { return true; })) {
    names.push_back(child->get_name());
  }
  return names;
}

std::string commandList(CLI::App& command) {
  return CLI::detail::join(namesOfCommands(command), ", ");
}

std::string path(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return parent == nullptr ? "halcyra-cli" : path(*parent) + " " + command.get_name();
}

// The library's own words for arguments nobody asked for do not tell a mistyped command from a
// mistyped option.
std::string usageText(CLI::App& app, const CLI::ParseError& error) {
  CLI::App& command = deepest(app);
  const std::vector<std::string> left = app.remaining(true);
  std::string text = error.what();
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr && !left.empty()) {
    const std::string& argument = left.front();
    constexpr std::string_view unknownCommand = "unknown command";
    const std::string_view what = argument.starts_with("-")          ? "unknown option"
                                  : namesOfCommands(command).empty() ? "unexpected argument"
                                                                     : unknownCommand;
    text = std::string(what) + " \"" + argument + "\"";
    if (what == unknownCommand) text += "; there is " + commandList(command);
  }
  return text + "; see \"" + path(command) + " --help\"";
}

std::string missingCommandText(CLI::App& app) {
  CLI::App& command = deepest(app);
  return "name a command: " + commandList(command) + "; see \"" + path(command) + " --help\"";
}

int runBody(const CommandBody& body, Session& session) {
  try {
    return body(session);
  } catch (const UsageError& error) {
    complain(session.err, error.what());
    return wrongUsage;
  } catch (const std::bad_alloc&) {
    complain(session.err, "not enough memory");
  } catch (const std::exception& error) {
    complain(session.err, error.what());
  }
  return failed;
}

int parseAndRun(CLI::App& app, std::vector<std::string> arguments, const Invocation& invocation,
                Session& session) {
  std::reverse(arguments.begin(), arguments.end());  // the order that the parser takes them in
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::CallForHelp&) {
    session.out << app.help();
    return 0;
  } catch (const CLI::CallForVersion& version) {
    session.out << version.what() << '\n';
    return 0;
  } catch (const CLI::ParseError& error) {
    complain(session.err, usageText(app, error));
    return wrongUsage;
  }
  if (!invocation.body) {
    complain(session.err, missingCommandText(app));
    return wrongUsage;
  }
  return runBody(invocation.body, session);
}

}  // namespace

int runCommandLine(const std::vector<std::string>& arguments, const std::string& version,
                   std::span<const CommandRegistration> commands, Session& session) {
  CLI::App app(description, "halcyra-cli");
  app.set_version_flag("--version", "halcyra-cli " + version);
  Invocation invocation;
  for (const CommandRegistration add : commands) add({app, invocation});
  app.footer(footer);  // last, since a command takes over the footer it finds
  const int exitCode = parseAndRun(app, arguments, invocation, session);
  session.out.flush();
  if (session.out) return exitCode;
  complain(session.err, "standard output could not be written");
  return failed;
}

}  // namespace halcyra

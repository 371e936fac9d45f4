#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "cli/CommandLine.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra {

/// The program as a user runs it, in this process: a folder of its own for settings and secrets,
/// and one run a call.
class Program {
 public:
  struct Result {
    int exitCode;
    std::string out, err;
  };

  Program() {
    variables = {{"XDG_DATA_HOME", folder_.path()},
                 {"XDG_CONFIG_HOME", folder_.path()},
                 {"HALCYRA_KEYCHAIN", "file"}};
  }

  Result run(const std::vector<std::string>& arguments, const std::string& input = {}) {
    static constexpr CommandRegistration commands[] = {
        addClassifyCommand,   addParseCommand,   addPrefilterCommand, addConfigCommand,
        addSecretCommand,     addMailboxCommand, addSignInCommand,    addConnectionCommand,
        addAutomationCommand, addLeadCommand};
    const Variables lookUp = [this](const std::string& name) -> std::optional<std::string> {
      const auto found = variables.find(name);
      return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
    Composition composition(lookUp, "/nonexistent/Info.json");
    std::istringstream in(input);
    std::ostringstream out, err;
    Session session{composition, in, out, err, interactive};
    const int exitCode = runCommandLine(arguments, "1.2.3", commands, session);
    return {exitCode, out.str(), err.str()};
  }

  std::filesystem::path settings() const { return folder_.path() / "Halcyra"; }

  std::string file(const std::string& name) const {
    std::ifstream in(settings() / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  /// Writes a file into the settings folder and gives its path.
  std::string write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories(settings());
    std::ofstream(settings() / name, std::ios::binary) << text;
    return (settings() / name).string();
  }

  /// Copies that "config edit" has left in the settings folder.
  std::ptrdiff_t copiesLeft() const {
    const std::filesystem::directory_iterator entries(settings());
    return std::count_if(begin(entries), end(entries), [](const auto& entry) {
      return entry.path().filename().string().starts_with("config.edit-");
    });
  }

  std::map<std::string, std::string> variables;
  bool interactive = false;

 private:
  sandbox::TemporaryFolder folder_;
};

}  // namespace halcyra

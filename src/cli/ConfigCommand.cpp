#include <algorithm>

#include "cli/Command.h"
#include "cli/ConfigCheck.h"
#include "cli/ConfigEdit.h"
#include "cli/ConfigValue.h"
#include "cli/LeadWays.h"
#include "cli/Messages.h"
#include "cli/Source.h"
#include "config/ConfigJson.h"
#include "platform/linux/InstanceLock.h"
#include "text/ControlCharacters.h"

namespace halcyra {
namespace {

constexpr std::size_t longestConfigBytes = std::size_t{16} << 20;

std::filesystem::path configFile(Session& session) {
  return session.app.paths().settings / "config.json";
}

int printPath(Session& session) {
  session.out << configFile(session).string() << '\n';
  return 0;
}

int show(Session& session) {
  session.out << encodeConfig(openConfig(session).config());
  return 0;
}

int check(Session& session, const std::string& named) {
  const std::string source = named.empty() ? configFile(session).string() : named;
  if (named.empty() && !std::filesystem::exists(source)) {
    throw std::runtime_error(source +
                             " does not exist yet; \"halcyra-cli config edit\" creates it");
  }
  // A pipe nobody writes to would be waited for without an end.
  if (source != standardInput && std::filesystem::is_other(source)) {
    throw std::runtime_error(source + " is not a regular file");
  }
  const std::string text = readSource(source, session.in, longestConfigBytes);
  try {
    const ConfigCheck checked = checkConfig(text);
    for (const std::string& warning : checked.warnings) {
      complain(session.err, "warning: " + warning);
    }
    for (const std::string& warning :
         leadWarnings(checked.config, leadWays(session, checked.config))) {
      complain(session.err, "warning: " + warning);
    }
    session.out << "ok: " << configSummary(checked.config) << '\n';
  } catch (const ConfigError& error) {
    throw std::runtime_error(source + ": " + error.what());
  }
  return 0;
}

// Warns of what the change brought with it.
void warnOfChange(Session& session, const AppConfig& before, const AppConfig& after) {
  const std::vector<std::string> known = configWarnings(before);
  for (const std::string& warning : configWarnings(after)) {
    if (std::ranges::find(known, warning) != known.end()) continue;
    complain(session.err, "warning: " + warning);
  }
}

int set(Session& session, const std::string& key, const std::string& value) {
  const InstanceLock turn(configLock(session));
  ConfigStore& store = openConfig(session);
  const AppConfig before = store.config();
  try {
    store.setConfig(configWithValue(before, key, value));
  } catch (const ConfigError& error) {
    throw UsageError(error.what());
  }
  store.save();
  session.out << onOneLine(key) << ": " << configValueText(before, key) << " → "
              << configValueText(store.config(), key) << '\n';
  warnOfChange(session, before, store.config());
  return 0;
}

void addCheck(const CommandSyntax& group) {
  auto file = std::make_shared<std::string>();
  const CommandSyntax command =
      group.command("check", "Say what is wrong in config.json or in another file");
  command.value("FILE", *file, "The file to check; - is standard input");
  command.runs([file](Session& session) { return check(session, *file); });
}

void addSet(const CommandSyntax& group) {
  auto key = std::make_shared<std::string>();
  auto value = std::make_shared<std::string>();
  const CommandSyntax command = group.command("set", "Change one setting");
  command.value("KEY", *key, "The setting, for instance llmModel or rules[0].forwardTo",
                {.isRequired = true});
  command.value("VALUE", *value, "Its new value; for anything but a text in JSON's form",
                {.isRequired = true});
  command.runs([key, value](Session& session) { return set(session, *key, *value); });
}

}  // namespace

void addConfigCommand(const CommandSyntax& program) {
  const CommandSyntax group = program.command("config", "Show, check and change the configuration");
  group.command("path", "Print where config.json is").runs(printPath);
  group.command("show", "Print the configuration as the program understands it").runs(show);
  addCheck(group);
  group
      .command("edit",
               "Edit a copy in $VISUAL or $EDITOR, check it, and only then replace config.json")
      .runs(editConfig);
  addSet(group);
}

}  // namespace halcyra

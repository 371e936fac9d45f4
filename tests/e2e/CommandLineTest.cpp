#include <gtest/gtest.h>

#include "World.h"
#include "sandbox/SampleMail.h"
#include "support/FileContent.h"

namespace halcyra {
namespace {

using sandbox::DovecotServer;

std::string sample(const std::string& part) {
  for (const auto& file : sandbox::sampleFiles()) {
    if (file.string().find(part) != std::string::npos) return file;
  }
  return "";
}

struct CommandCase {
  std::vector<std::string> arguments;
  std::string input;
  int status;
  // Fragments of standard output and standard error; without one, that stream stays empty.
  std::string output;
  std::string errors;
};

void check(const World& world, const std::vector<CommandCase>& cases) {
  for (const CommandCase& c : cases) {
    std::string line = "halcyra-cli";
    for (const std::string& word : c.arguments) line += " " + word;
    SCOPED_TRACE(line);
    const auto run = world.run(c.arguments, c.input);
    EXPECT_EQ(run.status, c.status) << run.errors;
    EXPECT_NE(run.output.find(c.output), std::string::npos) << run.output;
    EXPECT_EQ(run.output.empty(), c.output.empty()) << run.output;
    EXPECT_NE(run.errors.find(c.errors), std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.empty(), c.errors.empty()) << run.errors;
    if (c.status != 0) {
      EXPECT_TRUE(run.errors.starts_with("halcyra-cli: ")) << run.errors;
    }
  }
}

TEST(CommandLine, CommandsAnswerAsScriptsRelyOn) {
  DovecotServer server({.users = {{"kim", password}}});
  World world;
  world.home.addMailbox({.id = "m", .label = "Kim", .port = server.port(), .user = "kim"});
  world.home.save();
  const std::string tool = sample("undeclared");
  const std::string french = contentOf(sample("francais"));
  const std::string config = world.home.configFile().string();
  check(world, {
                   {{"--version"}, "", 0, "0.1.0", ""},
                   {{"--help"}, "", 0, "monitor", ""},
                   {{}, "", 2, "", "halcyra-cli: "},
                   {{"no-such-command"}, "", 2, "", "halcyra-cli: "},
                   {{"monitor", "--mailbox", "nobody", "--once"}, "", 1, "", "nobody"},
                   {{"parse", tool, "--json"},
                    "",
                    0,
                    "doesn’t work any more. After a click on “Export”",
                    ""},
                   {{"parse", "-"}, french, 0, "Problème de connexion à mon compte", ""},
                   {{"parse", "/no/such/file"}, "", 1, "", "/no/such/file"},
                   {{"prefilter", sample("newsletter")}, "", 0, "unsubscribe", ""},
                   {{"prefilter", sample("mailing-list")}, "", 0, "bulk/list headers", ""},
                   {{"prefilter", sample("promotionnelle")}, "", 0, "newsletter template", ""},
                   {{"prefilter", "-"}, french, 0, "none", ""},
                   {{"classify", "-", "--show-prompt"}, french, 0, "- **rule_id**: `reply`", ""},
                   {{"classify", "-", "--show-prompt", "--mailbox", "m"},
                    french,
                    0,
                    "Receiving mailbox: **Kim**.",
                    ""},
                   {{"classify", "-"}, french, 1, "", "halcyra-cli: "},
                   {{"config", "path"}, "", 0, config + "\n", ""},
                   {{"config", "check"}, "", 0, "ok", ""},
                   {{"config", "check", "-"}, "{\"rules\": 3}", 1, "", "halcyra-cli: "},
                   {{"config", "set", "llmModel", "other-model"}, "", 0, "llmModel", ""},
                   {{"config", "show"}, "", 0, "\"llmModel\": \"other-model\"", ""},
                   {{"config", "set", "noSuchKey", "1"}, "", 2, "", "noSuchKey"},
                   {{"secret", "set", "llm.apiKey"}, "sesame\n", 0, "", ""},
                   {{"secret", "list"}, "", 0, "imap.password\nllm.apiKey\n", ""},
                   {{"secret", "remove", "llm.apiKey"}, "", 0, "", ""},
                   {{"secret", "list"}, "", 0, "imap.password\n", ""},
                   {{"mailbox", "list"}, "", 0, "Kim", ""},
                   {{"mailbox", "test"}, "", 0, "Kim", ""},
                   {{"secret", "set", "imap.password"}, "wrong", 0, "", ""},
                   {{"mailbox", "test", "m"}, "", 1, "", "halcyra-cli: "},
               });
  for (const char* command :
       {"monitor", "classify", "parse", "prefilter", "config", "secret", "mailbox"}) {
    check(world, {{{command, "--help"}, "", 0, command, ""}});
  }
}

TEST(CommandLine, TheReadmesExampleIsASoundConfiguration) {
  const std::string readme = contentOf(HALCYRA_TEST_DATA "/../../README.md");
  const std::size_t start = readme.find("```json\n") + 8;
  World world;
  check(world, {{{"config", "check", "-"},
                 readme.substr(start, readme.find("```", start) - start),
                 0,
                 "ok",
                 ""}});
}

}  // namespace
}  // namespace halcyra

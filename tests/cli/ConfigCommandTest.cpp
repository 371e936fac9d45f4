#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>

#include "Program.h"
#include "platform/linux/InstanceLock.h"

namespace halcyra {
namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

TEST(ConfigCommand, SetShowsBothValuesAndKeepsTheFileOnAnError) {
  Program program;
  struct Case {
    Strings arguments;
    std::string out;
  };
  const Case cases[] = {
      {{"config", "set", "llmModel", "[small]"}, "llmModel: \"gpt-5-nano\" → \"[small]\"\n"},
      {{"config", "set", "meetingWorkingWeekdays", "[2,3]"},
       "meetingWorkingWeekdays: [2,3,4,5,6] → [2,3]\n"},
      {{"config", "set", "rules[0].displayName", "Rest"},
       "rules[0].displayName: \"Other\" → \"Rest\"\n"},
      {{"config", "set", "llmMaxBodyChars", "-5"}, "llmMaxBodyChars: 12000 → -5\n"},
  };
  for (const Case& c : cases) {
    const auto result = program.run(c.arguments);
    EXPECT_EQ(result.out, c.out) << result.err;
  }
  const std::string stored = program.file("config.json");
  EXPECT_NE(stored.find("\"llmModel\": \"[small]\""), std::string::npos);
  const std::pair<Strings, std::string> refusals[] = {
      {{"config", "set", "useIDLE", "yes"}, "useIDLE: say true or false"},
      {{"config", "set", "llmMaxBodyChars", "many"}, "llmMaxBodyChars: say a number"},
  };
  for (const auto& [arguments, says] : refusals) {
    const auto result = program.run(arguments);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.err, "halcyra-cli: " + says + "\n");
  }
  EXPECT_EQ(program.file("config.json"), stored);
  EXPECT_EQ(program.run({"config", "show"}).out, stored);
}

TEST(ConfigCommand, SetWarnsOfWhatTheNewValueBrings) {
  Program program;
  const std::string warning =
      "halcyra-cli: warning: llmMaxBodyChars: is not above 0, so the model gets no mail text\n";
  EXPECT_EQ(program.run({"config", "set", "llmMaxBodyChars", "0"}).err, warning);
  EXPECT_EQ(program.run({"config", "set", "llmModel", "x"}).err, "") << "said before";
}

TEST(ConfigCommand, SettingsOfSeveralProcessesAreAllKept) {
  Program program;
  const std::string lock = program.write("config.lock", "");
  const std::pair<const char*, const char*> settings[] = {
      {"llmModel", "mine"}, {"llmBaseURL", "http://mine"}, {"imapHost", "mine.example"}};
  std::vector<std::thread> others;  // each opens the files on its own, as a process would
  {
    const InstanceLock held{fs::path(lock)};
    for (const auto& [key, value] : settings) {
      others.emplace_back([&program, key = key, value = value] {
        EXPECT_EQ(program.run({"config", "set", key, value}).exitCode, 0);
      });
    }
  }
  for (std::thread& other : others) other.join();
  const std::string stored = program.run({"config", "show"}).out;
  for (const auto& [key, value] : settings) {
    EXPECT_NE(stored.find("\"" + std::string(key) + "\": \"" + value + "\""), stored.npos) << key;
  }
}

TEST(ConfigCommand, CheckNamesTheFileAndThePlace) {
  Program program;
  const std::string path = program.run({"config", "path"}).out;
  EXPECT_EQ(path, (program.settings() / "config.json").string() + "\n");
  EXPECT_NE(program.run({"config", "check"}).err.find("config.json does not exist yet"),
            std::string::npos);
  std::string text = program.run({"config", "show"}).out;
  EXPECT_EQ(program.run({"config", "check"}).out, "ok: 0 mailboxes (0 enabled), 1 rule\n");

  const std::string pipe = (program.settings() / "pipe").string();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(program.run({"config", "check", pipe}).err,
            "halcyra-cli: " + pipe + " is not a regular file\n");

  text.insert(text.find('{') + 1, R"("colour": 1,)");
  const auto warned = program.run({"config", "check", "-"}, text);
  EXPECT_EQ(warned.exitCode, 0);
  EXPECT_EQ(warned.err,
            "halcyra-cli: warning: colour: is no setting and is dropped when the file is next "
            "saved\n");
  text.replace(text.find("\"notifyWithSuggestion\""), 22, "\"notify\"");
  const auto wrong = program.run({"config", "check", program.write("new.json", text)});
  EXPECT_EQ(wrong.exitCode, 1);
  EXPECT_EQ(wrong.out, "");
  EXPECT_TRUE(wrong.err.starts_with("halcyra-cli: " + program.settings().string() +
                                    "/new.json: rules[0].action"))
      << wrong.err;
}

TEST(ConfigCommand, AFileThatCannotBeUsedIsKeptAndToldOfOnce) {
  Program program;
  program.write("config.json", "{ \"llmModel\": ");
  const auto first = program.run({"mailbox", "list"});
  EXPECT_TRUE(first.err.starts_with("halcyra-cli: warning: " + program.settings().string() +
                                    "/config.json cannot be used as it is ("))
      << first.err;
  EXPECT_NE(first.err.find("its text is kept as " + program.settings().string() +
                           "/config.unreadable.json: mend that"),
            std::string::npos);
  EXPECT_EQ(program.file("config.unreadable.json"), "{ \"llmModel\": ");
  EXPECT_EQ(program.run({"config", "show"}).err, "");
  EXPECT_NE(program.run({"mailbox", "list"}).err.find("kept as " + program.settings().string()),
            std::string::npos);
}

struct EditCase {
  const char* name;
  std::string editor;  // a shell command; "$1" is the copy
  bool interactive;
  std::string answers;
  int exitCode;
  std::string says;
  bool saved;
  bool copyKept;
};

TEST(ConfigCommand, EditReplacesTheFileOnlyByWhatCanBeRead) {
  const std::string good = "sed -i 's/gpt-5-nano/mine/'";
  const std::string bad = "sed -i 's/\"useIDLE\"/\"useIdle\"/'";
  const std::string badThenGood =
      "f() { grep -q useIdle \"$1\" && sed -i "
      "'s/useIdle/useIDLE/;s/gpt-5-nano/mine/' \"$1\" || " +
      bad + " \"$1\"; }; f";
  const EditCase cases[] = {
      {"good", good, false, "", 0, "saved ", true, false},
      {"untouched", "true", false, "", 0, "nothing was changed\n", false, false},
      {"bad", bad, false, "", 1, "config.json is unchanged; your edit is kept as ", false, true},
      {"bad and given up", bad, true, "n\n", 1, "the edit was given up; config.json is unchanged",
       false, true},
      {"bad and mended", badThenGood, true, "\n", 0, "saved ", true, false},
      {"no editor", "/nonexistent/editor", false, "", 1, "set EDITOR to the command of yours",
       false, false},
      {"none named, no terminal", "", false, "", 1, "set EDITOR to the command of yours", false,
       false},
      {"editor fails", "false", false, "", 1, "the editor ended with an error", false, false},
  };
  for (const EditCase& c : cases) {
    Program program;
    if (!c.editor.empty()) {
      program.variables["VISUAL"] = c.editor;
      program.variables["EDITOR"] = "false";
    }
    program.interactive = c.interactive;
    const std::string before = program.run({"config", "show"}).out;
    const auto result = program.run({"config", "edit"}, c.answers);
    EXPECT_EQ(result.exitCode, c.exitCode) << c.name << result.err;
    EXPECT_NE((result.out + result.err).find(c.says), std::string::npos) << c.name << result.err;
    const std::string after = program.file("config.json");
    EXPECT_EQ(after.find("\"llmModel\": \"mine\"") != std::string::npos, c.saved) << c.name;
    if (!c.saved) {
      EXPECT_EQ(after, before) << c.name;
    }
    EXPECT_EQ(program.copiesLeft(), c.copyKept ? 1 : 0) << c.name;
  }
}

TEST(ConfigCommand, AnEditDoesNotOverwriteWhatAnotherProgramWrote) {
  Program program;
  program.run({"config", "show"});
  program.variables["VISUAL"] = "f() { sed -i 's/gpt-5-nano/mine/' \"$1\"; echo other > " +
                                (program.settings() / "config.json").string() + "; }; f";
  const auto result = program.run({"config", "edit"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("was changed by another program meanwhile"), std::string::npos);
  EXPECT_EQ(program.file("config.json"), "other\n");
  EXPECT_EQ(program.copiesLeft(), 1);
}

}  // namespace
}  // namespace halcyra

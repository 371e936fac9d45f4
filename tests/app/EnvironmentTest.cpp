#include "app/Environment.h"

#include <gtest/gtest.h>

#include <map>

#include "support/MemoryFiles.h"

namespace halcyra {
namespace {

Variables variablesOf(std::map<std::string, std::string> values) {
  return [values](const std::string& name) -> std::optional<std::string> {
    const auto found = values.find(name);
    if (found == values.end() || found->second.empty()) return std::nullopt;
    return found->second;
  };
}

TEST(Environment, FoldersFollowTheBaseDirectoryRules) {
  struct Case {
    std::map<std::string, std::string> variables;
    Paths expected;
  };
  const Case cases[] = {
      {{{"HOME", "/home/u"}}, {"/home/u/.local/share/Halcyra", "/home/u/.config/Halcyra"}},
      {{{"HOME", "/home/u"}, {"XDG_DATA_HOME", "/data"}, {"XDG_CONFIG_HOME", "/conf/"}},
       {"/data/Halcyra", "/conf/Halcyra"}},
      {{{"HOME", "/home/u"}, {"XDG_DATA_HOME", "data"}, {"XDG_CONFIG_HOME", ""}},
       {"/home/u/.local/share/Halcyra", "/home/u/.config/Halcyra"}},
      {{{"XDG_DATA_HOME", "/data"}, {"XDG_CONFIG_HOME", "/conf"}},
       {"/data/Halcyra", "/conf/Halcyra"}},
  };
  for (const Case& c : cases) EXPECT_EQ(pathsFrom(variablesOf(c.variables)), c.expected);
}

TEST(Environment, AHomeThatIsMissingOrRelativeIsNamed) {
  for (const char* home : {"", "u"}) {
    try {
      pathsFrom(variablesOf({{"HOME", home}, {"XDG_DATA_HOME", "/data"}}));
      ADD_FAILURE() << home;
    } catch (const EnvironmentError& error) {
      EXPECT_STREQ(error.what(),
                   "the environment variable HOME holds no absolute path; set HOME or "
                   "XDG_CONFIG_HOME");
    }
  }
}

TEST(Environment, BuildValuesComeFromTheFirstFileThereIs) {
  struct Case {
    std::map<std::string, std::string> variables;
    std::map<std::string, std::string> files;
    BuildValues expected;
    std::string error;
  };
  const std::string beside = "/build/Info.json", installed = "/usr/share/Info.json";
  const Case cases[] = {
      {{}, {}, {}, ""},
      {{}, {{installed, R"({"a":"1","b":2,"c":null})"}}, {{"a", "1"}}, ""},
      {{}, {{beside, R"({"a":"built"})"}, {installed, R"({"a":"1"})"}}, {{"a", "built"}}, ""},
      {{{"HALCYRA_INFO", "/my.json"}}, {{"/my.json", "{}"}, {beside, R"({"a":"built"})"}}, {}, ""},
      {{{"HALCYRA_INFO", "/my.json"}}, {{beside, "{}"}}, {}, "/my.json does not exist"},
      {{}, {{installed, "[]"}}, {}, "/usr/share/Info.json: expected a JSON object"},
      {{}, {{installed, "{"}}, {}, "/usr/share/Info.json: Not valid JSON"},
  };
  for (const Case& c : cases) {
    MemoryFiles files;
    files.contents = c.files;
    const Variables variables = variablesOf(c.variables);
    try {
      EXPECT_EQ(readBuildValues(files, variables, "/build/halcyra-cli", installed), c.expected);
      EXPECT_EQ(c.error, "");
    } catch (const std::runtime_error& error) {
      EXPECT_TRUE(!c.error.empty() && std::string(error.what()).starts_with(c.error))
          << error.what();
    }
  }
}

}  // namespace
}  // namespace halcyra

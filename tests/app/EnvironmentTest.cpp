#include "app/Environment.h"

#include <gtest/gtest.h>

#include <map>

#include "support/FailureText.h"
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

TEST(Environment, EndpointsStayOnThisMachine) {
  MemoryFiles files;
  const auto read = [&](const std::string& text) {
    files.contents = {{"/e.json", text}};
    return readEndpoints(files, variablesOf({{"HALCYRA_ENDPOINTS", "/e.json"}}));
  };
  const auto failure = [&](const std::string& text) {
    return failureText<EnvironmentError>([&] { read(text); });
  };
  EXPECT_EQ(readEndpoints(files, variablesOf({})), Endpoints());
  EXPECT_EQ(read("{}"), Endpoints());
  EXPECT_EQ(read(R"({"google":"http://127.0.0.1:1/","googleAccounts":"http://localhost:65535/a/b",
                     "googleToken":"https://[::1]:8443","microsoftLogin":"http://127.255.0.9",
                     "graph":"http://LOCALHOST","salesforceLogin":"http://127.0.0.1:2",
                     "dataverse":"http://127.0.0.1:3/"})"),
            (Endpoints{"http://127.0.0.1:1", "http://localhost:65535/a/b", "https://[::1]:8443",
                       "http://127.255.0.9", "http://LOCALHOST", "http://127.0.0.1:2",
                       "http://127.0.0.1:3"}));
  for (const char* elsewhere : {"\"https://www.googleapis.com\"",
                                "\"http://localhost.example.org\"",
                                "\"http://localhost:80@example.org\"",
                                "\"http://127.0.0.1@example.org/\"",
                                "\"http://127.0.0.1.example.org\"",
                                "\"http://128.0.0.1\"",
                                "\"http://127.1\"",
                                "\"http://0.0.0.0\"",
                                "\"http://[::]\"",
                                "\"http://::1\"",
                                "\"http://[127.0.0.1]\"",
                                "\"http://localhost:0\"",
                                "\"http://localhost:65536\"",
                                "\"http://localhost:\"",
                                "\"http://\"",
                                "\"localhost\"",
                                "\"ftp://localhost\"",
                                "\"http://localhost/?x=1\"",
                                "\"http://localhost/a b\"",
                                "\"http://localhost\\\\example.org\"",
                                "7",
                                "null"}) {
    EXPECT_EQ(failure("{\"graph\":" + std::string(elsewhere) + "}"),
              "/e.json: graph must be an http or https address on this machine, such as "
              "http://127.0.0.1:8080; HALCYRA_ENDPOINTS allows no other")
        << elsewhere;
  }
  EXPECT_EQ(failure(R"({"Graph":"http://localhost"})"),
            "/e.json: \"Graph\" is not one of google, googleAccounts, googleToken, microsoftLogin, "
            "graph, salesforceLogin, dataverse");
  EXPECT_EQ(failure("[]"), "/e.json: expected a JSON object.");
  EXPECT_EQ(failure("{"), "/e.json: Not valid JSON at line 1, column 2.");
  files.contents.clear();
  EXPECT_EQ(failureText<EnvironmentError>([&] {
              readEndpoints(files, variablesOf({{"HALCYRA_ENDPOINTS", "/e.json"}}));
            }),
            "/e.json does not exist; HALCYRA_ENDPOINTS must name a JSON file");
}

}  // namespace
}  // namespace halcyra

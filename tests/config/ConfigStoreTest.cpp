#include "config/ConfigStore.h"

#include <gtest/gtest.h>

#include "ConfigSamples.h"
#include "config/KeychainHelper.h"
#include "config/RawStrings.h"
#include "support/MemoryFiles.h"
#include "support/MemoryKeychain.h"
#include "text/Uuid.h"

namespace halcyra {
namespace {

using nlohmann::json;
constexpr const char* file = "/data/config.json";
constexpr const char* kept = "/data/config.unreadable.json";
constexpr const char* kept2 = "/data/config.unreadable-2.json";

class ConfigStoreTest : public testing::Test {
 protected:
  // What a start makes of the stored file.
  AppConfig load() { return ConfigStore(files_, secrets_, "/data").config(); }
  AppConfig load(const json& document) {
    files_.contents[file] = document.dump();
    return load();
  }
  AppConfig stored() { return decodeConfig(files_.contents.at(file)); }

  MemoryFiles files_;
  MemoryKeychain keychain_;
  KeychainEnvelopeStorage secrets_{keychain_};
};

TEST_F(ConfigStoreTest, AFirstRunLeavesOneLastingRule) {
  const AppConfig config = load();
  ASSERT_EQ(config.rules.size(), 1u);
  EXPECT_EQ(config.rules[0].displayName, "Other");
  EXPECT_TRUE(isCanonicalUuid(config.rules[0].id));
  EXPECT_EQ(stored(), config);
  files_.written.clear();
  EXPECT_EQ(load(), config);
  EXPECT_EQ(files_.written, std::vector<std::string>{});  // a clean file is not written
}

TEST_F(ConfigStoreTest, OldSettingsBecomeRules) {
  struct Case {
    const char* name;
    json settings;
    json rules;  // name, action, target of each
  };
  const json other = {"Other", "notifyWithSuggestion", ""};
  const json silent = {"Other", "forwardSilently", ""};
  const auto support = [](const char* to) { return json{"Support", "forwardAndNotify", to}; };
  const auto change = [](const char* to) {
    return json{"Change requests", "forwardAndNotify", to};
  };
  const Case cases[] = {
      {"nothing", json::object(), {other}},
      {"support only", {{"supportForwardTo", " s@x "}}, {support("s@x"), change("s@x"), other}},
      {"support off",
       {{"enableSupport", false}, {"changeForwardTo", "c@x"}},
       {change("c@x"), other}},
      {"change off",
       {{"enableChange", false}, {"supportForwardTo", "s@x"}, {"changeForwardTo", "c@x"}},
       {support("s@x"), other}},
      {"general off", {{"enableGeneral", false}}, {silent}},
      {"wrong types", {{"enableGeneral", 0}, {"supportForwardTo", 1}}, {other}},
      {"empty rules",
       {{"rules", json::array()}, {"changeForwardTo", "c@x"}},
       {change("c@x"), other}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    json document = cleanDocument();
    document.erase("rules");
    document.update(c.settings);
    const AppConfig config = load(document);
    json rules = json::array();
    for (const MailRule& rule : config.rules) {
      EXPECT_TRUE(isCanonicalUuid(rule.id));
      EXPECT_EQ(rule.isCatchAll, rule.displayName == "Other");
      rules.push_back({rule.displayName, rawString(rule.action), rule.forwardTo});
    }
    EXPECT_EQ(rules, c.rules);
    EXPECT_FALSE(files_.contents.contains(kept));
  }
  const AppConfig both = load(
      json(cleanDocument())
          .patch(json::array({{{"op", "remove"}, {"path", "/rules"}},
                              {{"op", "add"}, {"path", "/supportForwardTo"}, {"value", "s@x"}}})));
  EXPECT_EQ(
      both.rules[0].criteriaPrompt,
      "Support requests, bugs, outages, login or account problems, and complaints that should "
      "go to the support team.");
  EXPECT_EQ(
      both.rules[1].criteriaPrompt,
      "Feature requests, scope changes, “please change X”, deployment or configuration change "
      "asks.");
}

TEST_F(ConfigStoreTest, EachRepairChangesItsFieldAndSaves) {
  struct Case {
    const char* field;
    json before;
    json after;
  };
  const Case cases[] = {
      {"llmModel", " gpt-4o-mini\n", "gpt-5-nano"},
      {"llmModel", "gpt-4o", "gpt-4o"},
      {"classificationSystemPrompt", "a Never invent, shorten, or paraphrase ids. b",
       defaultClassificationSystemPrompt},
      {"microsoftOAuthClientId", " 3D1E92B4-5F07-4C6A-9AE2-71B0C8D6F345 ", ""},
      {"microsoftOAuthClientId", "mine", "mine"},
      {"meetingWorkingWeekdays", json::array(), {2, 3, 4, 5, 6}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.field);
    json document = cleanDocument();
    document[c.field] = c.before;
    files_.written.clear();
    const AppConfig config = load(document);
    EXPECT_EQ(json::parse(encodeConfig(config))[c.field], c.after);
    EXPECT_EQ(files_.written.size(), c.before == c.after ? 0u : 1u);
    EXPECT_EQ(stored(), config);
  }
}

TEST_F(ConfigStoreTest, OlderConnectionsBecomeProfiles) {
  json document = cleanDocument();
  document["dataverseEnvironmentURL"] = " https://org.example ";
  document["salesforceLoginHost"] = "https://login.example";
  document["mailAccounts"] = {
      {{"id", "G"}, {"displayLabel", "g"}, {"kind", {{"type", "googleGmail"}}}},
      {{"id", "M"}, {"displayLabel", "m"}, {"kind", {{"type", "microsoftGraph"}}}}};
  const CRMConnectionProfile dynamics{
      "legacy-dynamics-settings",     "Dynamics 365 (from Custom actions URL)",
      CRMConnectionKind::dynamics365, "M",
      "https://org.example",          "https://login.example"};
  const CRMConnectionProfile salesforce{"legacy-salesforce-settings",
                                        "Salesforce (existing sign-in)",
                                        CRMConnectionKind::salesforce,
                                        "",
                                        "",
                                        "https://login.example"};
  EXPECT_EQ(load(document).crmConnectionProfiles, std::vector{dynamics});
  secrets_.writeSecret("token", "oauth.salesforce");
  EXPECT_EQ(load(document).crmConnectionProfiles, (std::vector{dynamics, salesforce}));
  EXPECT_EQ(secrets_.readSecret("oauth.salesforce.legacy-salesforce-settings"), "token");
  document["mailAccounts"].erase(1);
  EXPECT_EQ(load(document).crmConnectionProfiles, std::vector{salesforce});
  keychain_.calls.clear();
  load(json::parse(files_.contents[file]));
  EXPECT_EQ(keychain_.calls, std::vector<std::string>{});
}

TEST_F(ConfigStoreTest, AnUnusableFileIsKeptBesideItsReplacement) {
  json missing = cleanDocument();
  missing.erase("useIDLE");
  json stray = cleanDocument();
  stray["rules"].push_back(7);
  stray["llmModel"] = "mine";
  const std::pair<std::string, const char*> cases[] = {
      {"[1]", "top level: expected a JSON object"},
      {"{\"a\": ", "Not valid JSON at line 1, column 7."},
      {missing.dump(), "useIDLE: missing"},
      {stray.dump(), "rules[1]: expected an object"}};
  for (const auto& [text, problem] : cases) {
    SCOPED_TRACE(problem);
    files_ = {};
    files_.contents[file] = text;
    ConfigStore store(files_, secrets_, "/data");
    EXPECT_EQ(store.loadProblem(), problem);
    store.save();
    EXPECT_EQ(files_.contents[kept], text);
    EXPECT_EQ(stored().rules.size(), 1u);
    EXPECT_EQ(stored().rules[0].displayName, "Other");
    EXPECT_EQ(stored().llmModel, text == stray.dump() ? "mine" : "gpt-5-nano");
  }
}

TEST_F(ConfigStoreTest, NothingKeptEarlierIsLost) {
  files_.contents = {{file, "bad"}, {kept, "earlier"}};
  load();
  EXPECT_EQ(files_.contents[kept], "earlier");
  EXPECT_EQ(files_.contents[kept2], "bad");
  files_.contents[file] = "bad";  // the same slip again needs no third copy
  load();
  EXPECT_EQ(files_.contents.size(), 3u);

  files_ = {};
  files_.contents = {{file, "bad"}, {kept, "nobody knows"}};
  files_.unreadable = {kept};
  load();
  EXPECT_EQ(files_.contents[kept], "nobody knows");
  EXPECT_EQ(files_.contents[kept2], "bad");
  EXPECT_EQ(stored().rules.size(), 1u);
}

TEST_F(ConfigStoreTest, WithoutACopyTheUnusableFileStays) {
  files_.contents[file] = "bad";
  files_.unwritable = {kept};
  ConfigStore store(files_, secrets_, "/data");
  EXPECT_THROW(store.save(), FileError);
  EXPECT_EQ(files_.contents[file], "bad");
  files_.unwritable.clear();
  store.save();
  EXPECT_EQ(files_.contents[kept], "bad");
  EXPECT_EQ(stored(), store.config());
}

TEST_F(ConfigStoreTest, AFileThatCannotBeReadIsNeverReplaced) {
  files_.contents[file] = "nobody knows";
  files_.unreadable = {file};
  ConfigStore store(files_, secrets_, "/data");
  EXPECT_EQ(store.loadProblem(), "/data/config.json: Permission denied");
  EXPECT_EQ(store.config().rules.size(), 1u);
  EXPECT_THROW(store.save(), FileError);
  EXPECT_EQ(files_.contents.size(), 1u);
  EXPECT_EQ(files_.written.size(), 0u);
}

TEST_F(ConfigStoreTest, AFullDiskStopsSavesButNotTheStart) {
  files_.isFull = true;
  ConfigStore store(files_, secrets_, "/data");
  EXPECT_EQ(store.config().rules.size(), 1u);
  int changes = 0;
  store.setObserver([&] { ++changes; });
  AppConfig config = store.config();
  config.llmModel = "mine";
  store.setConfig(config);
  EXPECT_EQ(changes, 1);
  EXPECT_THROW(store.save(), FileError);
  EXPECT_EQ(store.config(), config);
  files_.isFull = false;
  EXPECT_TRUE(files_.contents.empty());
  store.save();
  EXPECT_EQ(stored(), config);
}

}  // namespace
}  // namespace halcyra

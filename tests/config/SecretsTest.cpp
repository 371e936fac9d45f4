#include <gtest/gtest.h>

#include "config/BuildInfo.h"
#include "config/KeychainEnvelopeStorage.h"
#include "config/KeychainHelper.h"
#include "support/MemoryFiles.h"
#include "support/MemoryKeychain.h"

namespace halcyra {
namespace {

using enum KeychainStatus;
using Calls = std::vector<std::string>;
using Items = std::map<std::string, std::string>;
const std::string envelope = KeychainEnvelopeStorage::envelopeAccount;

std::string holding(const std::string& entries) {
  return "{\"e\":{" + entries + "},\"v\":1}";
}

KeychainStatus statusOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const KeychainError& error) {
    return error.status();
  }
  return success;
}

class SecretsTest : public testing::Test {
 protected:
  MemoryKeychain keychain_;
  KeychainEnvelopeStorage secrets_{keychain_};
};

TEST_F(SecretsTest, ALoadedEnvelopeIsReadOnce) {
  keychain_.items = {{envelope, R"({"v": 7, "e": {"a": "1"}, "x": 0})"}, {"old", "secret"}};
  EXPECT_EQ(secrets_.readSecret("a"), "1");
  EXPECT_EQ(secrets_.readSecret("old"), std::nullopt);
  secrets_.writeSecret("1", "a");  // nothing changes
  secrets_.writeSecret("", "b");
  EXPECT_EQ(keychain_.takeCalls(), Calls{"read " + envelope});
  secrets_.writeSecret("2", "b");
  EXPECT_EQ(keychain_.items[envelope], holding(R"("a":"1","b":"2")"));
  EXPECT_EQ(secrets_.keys(), (std::vector<std::string>{"a", "b"}));
  secrets_.writeSecret("", "b");
  secrets_.removeSecret("a");
  EXPECT_EQ(keychain_.items[envelope], holding(""));
  secrets_.removeSecret("a");  // persists, whether or not the key existed
  EXPECT_EQ(keychain_.takeCalls(), Calls(4, "update " + envelope));
  EXPECT_EQ(keychain_.items["old"], "secret");
}

TEST_F(SecretsTest, WithoutAUsableEnvelopeOldItemsMoveIn) {
  const std::vector<std::optional<std::string>> unusable = {
      std::nullopt, "", "{", "\xFF", R"({"v":1})", R"({"v":"1","e":{}})", R"({"v":1,"e":{"a":1}})"};
  for (const std::optional<std::string>& broken : unusable) {
    SCOPED_TRACE(broken.value_or("none"));
    MemoryKeychain keychain;
    keychain.items = {{"imap.password", "p"}, {"empty", ""}, {"notText", "\xC3"}};
    if (broken) keychain.items[envelope] = *broken;
    KeychainEnvelopeStorage secrets(keychain);
    EXPECT_EQ(secrets.readSecret("imap.password"), "p");
    Calls expected = {"read " + envelope,   "list",         "peek empty",
                      "peek imap.password", "peek notText", "update " + envelope};
    if (!broken) expected.push_back("add " + envelope);
    expected.insert(expected.end(), {"remove empty", "remove imap.password", "remove notText"});
    EXPECT_EQ(keychain.calls, expected);
    EXPECT_EQ(keychain.items, (Items{{envelope, holding(R"("imap.password":"p")")}}));
  }
}

// Each step of the first access fails in turn: nothing is lost, and all is well once it works
// again.
TEST_F(SecretsTest, AFailureAtAnyStepOfTheMigrationCostsNothing) {
  const Items before = {{"imap.password", "p"}, {"llm.apiKey", "k"}};
  const Calls steps = {"read " + envelope,   "list",
                       "peek imap.password", "peek llm.apiKey",
                       "update " + envelope, "add " + envelope};
  for (const std::string& step : steps) {
    SCOPED_TRACE(step);
    MemoryKeychain keychain;
    keychain.items = before;
    keychain.failures = {{step, interactionNotAllowed}};
    KeychainEnvelopeStorage secrets(keychain);
    EXPECT_EQ(secrets.readSecret("imap.password"), std::nullopt);
    EXPECT_EQ(keychain.calls.back(), step);  // and nothing after it
    EXPECT_FALSE(secrets.isLoaded());
    EXPECT_EQ(statusOf([&] { secrets.writeSecret("x", "y"); }), interactionNotAllowed);
    EXPECT_EQ(statusOf([&] { secrets.keys(); }), interactionNotAllowed);
    EXPECT_EQ(keychain.items, before);
    keychain.failures.clear();
    EXPECT_EQ(secrets.readSecret("llm.apiKey"), "k");
    EXPECT_EQ(keychain.items.size(), 1u);
  }
  keychain_.items = before;
  keychain_.failures = {{"remove imap.password", ioError}};
  EXPECT_EQ(secrets_.readSecret("imap.password"), "p");
  EXPECT_EQ(keychain_.items.size(), 2u);
}

TEST_F(SecretsTest, AnUnreadableEnvelopeIsNotTouched) {
  keychain_.items = {{envelope, holding(R"("a":"1")")}, {"old", "x"}};
  for (const KeychainStatus status : {userCanceled, notAvailable, authFailed, ioError}) {
    keychain_.failures = {{"read " + envelope, status}};
    EXPECT_EQ(secrets_.readSecret("a"), std::nullopt);
    EXPECT_EQ(statusOf([&] { secrets_.writeSecret("2", "a"); }), status);
    EXPECT_EQ(keychain_.takeCalls(), Calls(2, "read " + envelope));
  }
  keychain_.failures.clear();
  EXPECT_EQ(secrets_.readSecret("a"), "1");
}

TEST_F(SecretsTest, AFailedWriteStaysInMemoryAndIsWrittenWithTheNext) {
  keychain_.failures = {{"update " + envelope, authFailed}};
  EXPECT_EQ(secrets_.keys(), std::vector<std::string>{});  // nothing there that could be lost
  EXPECT_EQ(statusOf([&] { secrets_.writeSecret("1", "a"); }), authFailed);
  EXPECT_EQ(secrets_.readSecret("a"), "1");
  keychain_.failures = {};
  secrets_.writeSecret("2", "b");
  EXPECT_EQ(keychain_.items[envelope], holding(R"("a":"1","b":"2")"));
  secrets_.writeSecret("\xFF", "c");  // no JSON can hold it: neither written nor an error
  EXPECT_EQ(keychain_.items[envelope], holding(R"("a":"1","b":"2")"));
}

TEST_F(SecretsTest, AnErrorSpeaksTheKeychainsWords) {
  EXPECT_STREQ(KeychainError(authFailed, "Refused.").what(), "Refused.");
  EXPECT_STREQ(KeychainError(ioError, std::nullopt).what(), "Keychain error (-36).");
}

TEST_F(SecretsTest, TheHelperCachesUntilTold) {
  keychain_.items = {{envelope, holding(R"("imap.password":"i","smtp.password.account.A":"own")")}};
  KeychainHelper helper(secrets_, {{"HalcyraEmbeddedLLMAPIKey", "built"}});
  EXPECT_EQ(helper.secretsSnapshot(), (SecretsSnapshot{"i", "", "built"}));
  EXPECT_EQ(helper.smtpPasswordForAccount("A", "common", false), "common");
  EXPECT_EQ(helper.smtpPasswordForAccount("A", "common", true), "own");
  EXPECT_EQ(helper.smtpPasswordForAccount("B", "common", true), "common");
  secrets_.writeSecret("mine", "llm.apiKey");
  secrets_.writeSecret("later", secretKey::smtpPasswordOfAccount("B"));
  EXPECT_EQ(helper.secretsSnapshot().llmKey, "built");
  EXPECT_EQ(helper.smtpPasswordForAccount("B", "common", true), "common");
  EXPECT_EQ(helper.llmAPIKey(), "mine");
  helper.invalidateSecretCaches();
  EXPECT_EQ(helper.secretsSnapshot(), (SecretsSnapshot{"i", "", "mine"}));
  EXPECT_EQ(helper.smtpPasswordForAccount("B", "common", true), "later");
  EXPECT_EQ(secretKey::oauthCredential("A"), "oauth.credential.A");
  EXPECT_EQ(secretKey::salesforceCredential("P"), "oauth.salesforce.P");
}

TEST_F(SecretsTest, TheHelperForgetsWhatALockedKeychainSeemedToHold) {
  keychain_.items = {{envelope, holding(R"("imap.password":"i","smtp.password.account.A":"own")")}};
  keychain_.failures = {{"read " + envelope, userCanceled}};
  KeychainHelper helper(secrets_, {{"HalcyraEmbeddedLLMAPIKey", "built"}});
  EXPECT_EQ(helper.secretsSnapshot(), (SecretsSnapshot{"", "", "built"}));
  EXPECT_EQ(helper.smtpPasswordForAccount("A", "common", true), "common");
  EXPECT_EQ(keychain_.calls.size(), 2u);
  keychain_.failures.clear();
  EXPECT_EQ(helper.secretsSnapshot().imapPassword, "i");
  EXPECT_EQ(helper.smtpPasswordForAccount("A", "common", true), "own");
}

TEST_F(SecretsTest, BuildValuesAreCleaned) {
  const std::pair<const char*, const char*> cases[] = {{" a\n", "a"},          {"\" a \"", " a "},
                                                       {"\"", "\""},           {"\"\"", ""},
                                                       {"\"\"a\"\"", "\"a\""}, {"a\"", "a\""}};
  for (const auto& [raw, cleaned] : cases) {
    EXPECT_EQ(KeychainHelper(secrets_, {{"K", raw}}).buildSetting("K"), cleaned) << raw;
  }
  EXPECT_EQ(KeychainHelper(secrets_, {}).buildSetting("K"), "");
  AppConfig config;
  config.microsoftOAuthClientId = " mine ";
  const std::pair<const char*, const char*> ids[] = {
      {"\" built \"", "built"}, {"\"  \"", "mine"}, {"x$(ID)", "mine"}, {"", "mine"}};
  for (const auto& [raw, id] : ids) {
    const KeychainHelper helper(secrets_, {{"HalcyraMicrosoftOAuthClientId", raw}});
    EXPECT_EQ(helper.resolvedMicrosoftClientId(config), id) << raw;
  }
}

TEST_F(SecretsTest, BuildValuesComeFromTheInfoFile) {
  MemoryFiles files;
  EXPECT_EQ(loadBuildValues(files, "/Info.json"), BuildValues{});
  files.contents["/Info.json"] = R"({"a": "1", "b": 2, "c": null})";
  EXPECT_EQ(loadBuildValues(files, "/Info.json"), (BuildValues{{"a", "1"}}));
  for (const char* text : {"[]", "{"}) {
    files.contents["/Info.json"] = text;
    EXPECT_THROW(loadBuildValues(files, "/Info.json"), FileError) << text;
  }
}

}  // namespace
}  // namespace halcyra

#include "platform/linux/SecretServiceKeychain.h"

#include <gtest/gtest.h>

#include "config/KeychainEnvelopeStorage.h"
#include "platform/linux/OpenKeychain.h"
#include "platform/linux/PosixFileStore.h"
#include "support/KeyringSession.h"

namespace halcyra {
namespace {

using enum KeychainStatus;
constexpr const char* service = KeychainEnvelopeStorage::serviceName;

// Against a real gnome-keyring-daemon on a bus of its own.
class SecretServiceTest : public testing::Test {
 protected:
  KeyringSession session_;
  SecretServiceKeychain keychain_{service};
};

TEST_F(SecretServiceTest, ItemsAreWrittenReadListedAndRemoved) {
  EXPECT_TRUE(keychain_.answers());
  EXPECT_EQ(keychain_.read("a", KeychainPrompt::skipped).status, itemNotFound);
  EXPECT_EQ(keychain_.update("a", "x"), itemNotFound);
  EXPECT_EQ(keychain_.remove("a"), itemNotFound);
  EXPECT_EQ(keychain_.listAccounts().accounts, std::vector<std::string>{});

  const std::string bytes("caf\xC3\xA9\0\xFF\n", 8);
  EXPECT_EQ(keychain_.add("a", bytes), success);
  EXPECT_EQ(keychain_.add("a", "other"), duplicateItem);
  EXPECT_EQ(keychain_.add("b", "two"), success);
  EXPECT_EQ(SecretServiceKeychain("another.service").add("c", "not ours"), success);
  EXPECT_EQ(keychain_.read("a", KeychainPrompt::skipped).value, bytes);
  EXPECT_EQ(keychain_.listAccounts().accounts, (std::vector<std::string>{"a", "b"}));

  EXPECT_EQ(keychain_.update("a", "new"), success);
  EXPECT_EQ(SecretServiceKeychain(service).read("a", KeychainPrompt::allowed).value, "new");
  EXPECT_EQ(keychain_.remove("a"), success);
  EXPECT_EQ(keychain_.read("a", KeychainPrompt::allowed).status, itemNotFound);
  EXPECT_EQ(keychain_.listAccounts().accounts, std::vector<std::string>{"b"});
}

TEST_F(SecretServiceTest, ALockedItemIsNeverUnlockedQuietly) {
  ASSERT_EQ(keychain_.add("a", "x"), success);
  session_.lock();
  EXPECT_EQ(keychain_.read("a", KeychainPrompt::skipped).status, interactionNotAllowed);
  EXPECT_EQ(keychain_.listAccounts().accounts, std::vector<std::string>{"a"});
  // Nobody is there to show the prompt that these ask for.
  EXPECT_EQ(keychain_.read("a", KeychainPrompt::allowed).status, userCanceled);
  EXPECT_EQ(keychain_.update("a", "y"), userCanceled);
  EXPECT_EQ(keychain_.add("a", "y"), duplicateItem);
}

TEST_F(SecretServiceTest, WhatALockedKeyringHidesIsNotAbsent) {
  KeychainEnvelopeStorage before(keychain_);
  before.writeSecret("hunter2", "imap.password");
  session_.restartKeyringLocked();
  EXPECT_EQ(keychain_.read("a", KeychainPrompt::skipped).status, interactionNotAllowed);
  EXPECT_EQ(keychain_.listAccounts().status, interactionNotAllowed);
  EXPECT_EQ(keychain_.add("a", "x"), userCanceled);
  KeychainEnvelopeStorage secrets(keychain_);
  EXPECT_EQ(secrets.readSecret("imap.password"), std::nullopt);
  EXPECT_FALSE(secrets.isLoaded());
  EXPECT_THROW(secrets.writeSecret("x", "llm.apiKey"), KeychainError);
}

TEST_F(SecretServiceTest, TheEnvelopeTakesInOlderItems) {
  ASSERT_EQ(keychain_.add("imap.password", "hunter2"), success);
  ASSERT_EQ(keychain_.add("llm.apiKey", ""), success);
  KeychainEnvelopeStorage secrets(keychain_);
  EXPECT_EQ(secrets.readSecret("imap.password"), "hunter2");
  EXPECT_EQ(keychain_.listAccounts().accounts,
            std::vector<std::string>{KeychainEnvelopeStorage::envelopeAccount});
  secrets.writeSecret("smtp", "smtp.password");
  SecretServiceKeychain later(service);
  KeychainEnvelopeStorage reread(later);
  EXPECT_EQ(reread.keys(), (std::vector<std::string>{"imap.password", "smtp.password"}));
  EXPECT_EQ(later.read(KeychainEnvelopeStorage::envelopeAccount, KeychainPrompt::skipped).value,
            R"({"e":{"imap.password":"hunter2","smtp.password":"smtp"},"v":1})");
}

struct Choice {
  const char* choice;
  KeyringSession::Daemon daemon;
  KeychainStatus read;  // of an item that nothing has
  int warnings;
};

TEST(OpenKeychain, ChoosesByHandOrByWhatAnswers) {
  using enum KeyringSession::Daemon;
  for (const Choice& c : {Choice{"", keyring, itemNotFound, 0}, Choice{"", none, itemNotFound, 1},
                          Choice{"file", keyring, itemNotFound, 0},
                          Choice{"secret-service", none, notAvailable, 0}}) {
    SCOPED_TRACE(std::string(c.choice) + (c.daemon == none ? " without" : " with") + " a keyring");
    const KeyringSession session(c.daemon);
    const sandbox::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "secrets.json";
    PosixFileStore files;
    std::vector<std::string> warnings;
    const auto keychain = openKeychain(service, files, folder.path(), c.choice,
                                       [&](const std::string& text) { warnings.push_back(text); });
    EXPECT_EQ(keychain->read("a", KeychainPrompt::allowed).status, c.read);
    ASSERT_EQ(warnings.size(), static_cast<std::size_t>(c.warnings));
    for (const std::string& text : warnings) EXPECT_NE(text.find(file.string()), std::string::npos);
    const bool usesFile = std::string_view(c.choice) == "file" || c.warnings;
    keychain->add("a", "x");
    EXPECT_EQ(std::filesystem::exists(file), usesFile);
  }
  PosixFileStore files;
  EXPECT_THROW(openKeychain(service, files, "/", "keyring", [](const std::string&) {}),
               std::invalid_argument);
}

}  // namespace
}  // namespace halcyra

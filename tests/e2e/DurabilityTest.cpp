#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "World.h"
#include "sandbox/SampleMail.h"
#include "support/LongRun.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using sandbox::DovecotServer;
using sandbox::simpleMessage;

HttpResponse fileIt(const std::string&) {
  return completion(choice("file", 0.9));
}

// A mailbox with receipts, and a model that files each.
class Durability : public testing::Test {
 protected:
  Durability() {
    world.home.addMailbox({.id = "m", .label = "Kim", .port = server.port(), .user = "kim"});
    world.home.settings["llmBaseURL"] = model.baseURL();
    world.home.save();
  }

  void deliver(int number) {
    const std::string id = "<" + std::to_string(number) + "@x>";
    server.deliver("kim", simpleMessage(id, "paid", "Receipt."));
  }

  DovecotServer server{{.users = {{"kim", password}}}};
  ScriptedModel model{fileIt};
  World world;
};

// The account that may not write; for root the ordinary one of nobody.
struct Account {
  std::optional<uid_t> user;
  std::optional<gid_t> group;
};

Account ordinaryAccount() {
  if (geteuid() != 0) return {};
  const passwd* nobody = getpwnam("nobody");
  return {nobody->pw_uid, nobody->pw_gid};
}

TEST_F(Durability, AReadOnlyFolderCostsTheRecordButNotTheRun) {
  deliver(1);
  const Account account = ordinaryAccount();
  if (account.user) {
    ASSERT_EQ(chown(world.home.folder().c_str(), *account.user, *account.group), 0);
    for (const auto& entry : fs::recursive_directory_iterator(world.home.folder())) {
      ASSERT_EQ(chown(entry.path().c_str(), *account.user, *account.group), 0);
    }
  }
  fs::permissions(world.home.dataFolder(), fs::perms(0500));

  sandbox::Command command = world.home.command({"monitor", "--once", "--json"});
  command.user = account.user;
  command.group = account.group;
  sandbox::ChildProcess program(command);
  const auto ending = program.wait(30s);
  fs::permissions(world.home.dataFolder(), fs::perms(0700));
  ASSERT_TRUE(ending);
  EXPECT_EQ(ending->status, 0) << program.errors();
  EXPECT_NE(program.output().find("\"actionDone\""), std::string::npos) << program.errors();
  EXPECT_TRUE(server.seen("kim", "<1@x>"));
  EXPECT_NE(program.errors().find("[Halcyra] Handled messages cannot be recorded"),
            std::string::npos);
  for (const auto& entry : fs::directory_iterator(world.home.dataFolder())) {
    const std::string name = entry.path().filename();
    EXPECT_TRUE(name == "config.json" || name == "secrets.json" || name == "monitor.lock")
        << name << " was left behind";
  }
}

// Settings and records are read at the start. What others do to the files meanwhile neither
// disturbs the run nor is undone by it.
TEST_F(Durability, FilesThatAreEditedDuringARunDoNotDisturbIt) {
  const std::string damage = "{\"rules\": [";
  ScriptedModel editing([&](const std::string&) {
    for (const fs::path& file : {world.home.configFile(), world.home.processedFile()}) {
      std::ofstream(file) << damage;
    }
    return completion(choice("file", 0.9));
  });
  world.home.settings["llmBaseURL"] = editing.baseURL();
  world.home.save();
  deliver(1);
  deliver(2);
  const auto run = world.onePass();
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_TRUE(server.seen("kim", "<1@x>") && server.seen("kim", "<2@x>"));
  EXPECT_EQ(world.recorded(), (std::set<std::string>{"<1@x>", "<2@x>"}));
  std::ifstream config(world.home.configFile());
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(config), {}), damage);
}

// Most of its time is Dovecot's, which goes through its list of the whole folder at each mark.
TEST_F(Durability, ALargeMailboxIsHandledWholeInOnePass) {
  const int messages = isLongRun() ? 20'000 : 200;
  for (int number = 0; number < messages; ++number) deliver(number);
  sandbox::ChildProcess program(world.home.command({"monitor", "--once"}));
  const auto ending = program.wait(isLongRun() ? std::chrono::minutes(60) : 2min);
  ASSERT_TRUE(ending);
  EXPECT_EQ(ending->status, 0) << program.errors();
  EXPECT_LT(ending->peakBytes, 64u << 20);
  const auto flags = server.flags("kim");
  EXPECT_EQ(flags.size(), static_cast<std::size_t>(messages));
  for (const auto& [id, letters] : flags) ASSERT_EQ(letters, "S") << id;
  EXPECT_EQ(model.requests(), messages);
  // The store forgets some of more than 5,000; their mail is seen and not met again.
  EXPECT_EQ(world.onePass().status, 0);
  EXPECT_EQ(model.requests(), messages);
}

}  // namespace
}  // namespace halcyra

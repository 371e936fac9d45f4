#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "World.h"
#include "sandbox/SampleMail.h"

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

TEST_F(Durability, AKillAtAnyMomentLeavesWholeFilesAndNoSeenMessageWithoutRecord) {
  constexpr int messages = 20;
  for (int number = 0; number < messages; ++number) deliver(number);
  const auto check = [&] {
    const auto recorded = world.recorded();
    ASSERT_TRUE(recorded) << "processed-ids.json is no whole file";
    std::ifstream config(world.home.configFile());
    EXPECT_TRUE(nlohmann::json::accept(config));
    for (const auto& [id, flags] : server.flags("kim")) {
      EXPECT_TRUE(flags.find('S') == std::string::npos || recorded->contains(id)) << id;
    }
  };

  int kills = 0;
  // In the middle of the n-th question to the model, and right after the n-th decision, where the
  // record is written and the flag goes out.
  for (const bool whileAsking : {true, false, true, false, false, false}) {
    sandbox::ChildProcess program(world.home.command({"monitor", "--once", "--json"}));
    const int asked = model.requests();
    ASSERT_TRUE(eventually(
        [&] {
          const std::string output = program.output();
          return whileAsking ? model.requests() > asked + kills
                             : output.find("\"actionDone\"") != std::string::npos;
        },
        20s))
        << program.errors();
    program.signal(SIGKILL);
    ASSERT_EQ(program.wait(5s)->status, 128 + SIGKILL);
    ++kills;
    check();
  }
  const auto last = world.onePass();
  EXPECT_EQ(last.status, 0) << last.errors;
  check();
  EXPECT_EQ(world.recorded()->size(), static_cast<std::size_t>(messages));
  EXPECT_LE(model.requests(), messages + kills);
}

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

}  // namespace
}  // namespace halcyra

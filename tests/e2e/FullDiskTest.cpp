// The settings folder lies on a disk that fills up.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "ForwardingWorld.h"
#include "support/FileContent.h"
#include "support/OwnMounts.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

/// A file system of 64 KB in memory in place of a folder, with the same content. It belongs to a
/// helper process with mounts of its own and goes with it; all others reach it through /proc.
class SmallDisk {
 public:
  SmallDisk(const fs::path& folder, const std::string& isolation) {
    const fs::path place = folder.string() + ".disk";
    fs::create_directory(place);
    const std::string mounts =
        "mount -t tmpfs -o size=64k,mode=0700 none \"$0\" && echo ready && exec cat";
    helper_.emplace(
        sandbox::Command{{"unshare", isolation, "/bin/sh", "-c", mounts, place.string()}});
    if (helper_->readLine(20s) != "ready") throw std::runtime_error(helper_->errors());
    disk_ = "/proc/" + std::to_string(helper_->id()) + "/root" + place.string();
    fs::copy(folder, disk_);
    fs::remove_all(folder);
    fs::create_directory_symlink(disk_, folder);
  }

  void fill() {
    std::ofstream out(filler(), std::ios::binary);
    out << std::string(1 << 20, 'x') << std::flush;
    EXPECT_FALSE(out) << "the disk has no end";
  }
  void makeRoom() { fs::remove(filler()); }

  /// Without the filler and locks.
  std::map<std::string, std::string> files() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(disk_)) {
      const fs::path& file = entry.path();
      if (file != filler() && file.extension() != ".lock") files[file.filename()] = contentOf(file);
    }
    return files;
  }

 private:
  fs::path filler() const { return disk_ / "filler"; }

  std::optional<sandbox::ChildProcess> helper_;
  fs::path disk_;
};

class FullDisk : public testing::Test {
 protected:
  void SetUp() override {
    const auto isolation = ownMounts();
    if (!isolation) GTEST_SKIP() << "not tried, since this user may not mount a small disk";
    disk.emplace(w.world.home.dataFolder(), *isolation);
  }

  HttpResponse answer(const std::string& mail) {
    if (meanwhile) meanwhile(w.model.requests());
    return ForwardingWorld::chosen(mail);
  }

  void expectAllDoneOnce() {
    const auto all = w.allDelivered();
    EXPECT_EQ(w.newForwards(), (std::multiset<std::string>{all.begin(), all.end()}));
    EXPECT_EQ(w.marked(), all);
    EXPECT_EQ(w.world.recorded(), all);
  }

  std::function<void(int)> meanwhile;
  ForwardingWorld w{[this](const std::string& mail) { return answer(mail); }};
  std::optional<SmallDisk> disk;
};

TEST_F(FullDisk, TheRecordOfWhatWasHandledComesWithTheFirstThatFits) {
  w.deliver(4);
  std::map<std::string, std::string> before;
  meanwhile = [&](int request) {
    if (request == 2) {
      before = disk->files();
      disk->fill();
    }
    EXPECT_TRUE(request != 3 || w.marked().size() == 2u) << "marked on a full disk";
    if (request == 4) {
      EXPECT_EQ(disk->files(), before);
      disk->makeRoom();
    }
  };
  const auto pass = w.world.onePass();
  EXPECT_EQ(pass.status, 0) << pass.errors;
  const std::string line = "[Halcyra] Handled messages cannot be recorded: make room on the disk";
  const std::size_t first = pass.errors.find(line);
  EXPECT_NE(first, std::string::npos) << pass.errors;
  EXPECT_EQ(pass.errors.find(line, first + 1), std::string::npos) << "said more than once";
  expectAllDoneOnce();
}

TEST_F(FullDisk, FilesStayAsTheyWereAndTheMarkOutlivesTheProgram) {
  w.deliver(1);
  ASSERT_EQ(w.world.onePass().status, 0);
  expectAllDoneOnce();
  disk->fill();
  const auto before = disk->files();
  w.deliver(2);
  EXPECT_EQ(w.world.onePass().status, 0);
  EXPECT_EQ(w.newForwards(), (std::multiset<std::string>{"<2@x>", "<3@x>"}));
  const std::pair<std::vector<std::string>, const char*> writers[] = {
      {{"config", "set", "llmModel", "m"}, "config.json: No space left on device"},
      {{"secret", "set", "llm.apiKey"}, "secrets.json cannot be written and stays as it was"}};
  for (const auto& [arguments, told] : writers) {
    const auto run = w.world.run(arguments, "new\n");
    EXPECT_EQ(run.status, 1) << told;
    EXPECT_NE(run.errors.find(told), std::string::npos) << run.errors;
  }
  EXPECT_EQ(disk->files(), before);
  disk->makeRoom();
  EXPECT_EQ(w.world.onePass().status, 0);
  EXPECT_EQ(w.marked(), w.allDelivered());
  EXPECT_TRUE(w.newForwards().empty()) << "what was marked is not handled again";
}

}  // namespace
}  // namespace halcyra

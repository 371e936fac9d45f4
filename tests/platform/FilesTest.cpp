#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "platform/linux/FileKeychain.h"
#include "platform/linux/PosixFileStore.h"
#include "sandbox/TemporaryFolder.h"

namespace halcyra {
namespace {

using enum KeychainStatus;
namespace fs = std::filesystem;

unsigned modeOf(const fs::path& path) {
  return static_cast<unsigned>(fs::status(path).permissions()) & 0777u;
}

std::size_t entriesOf(const fs::path& folder) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
}

// Writes of this process end at so many bytes, as on a disk that runs full in the middle of a file.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, handler_);
  }

 private:
  sighandler_t handler_;
  rlimit before_{};
};

class PosixFilesTest : public testing::Test {
 protected:
  sandbox::TemporaryFolder folder_;
  fs::path file_ = folder_.path() / "settings.json";
  PosixFileStore files_;
};

TEST_F(PosixFilesTest, AFileIsReplacedWholeForItsOwnerOnly) {
  EXPECT_EQ(files_.read(file_), std::nullopt);
  EXPECT_EQ(files_.read(file_ / "below"), std::nullopt);
  const std::string bytes = std::string(3 << 20, 'x') + '\0' + "end";
  files_.writeAtomically(file_, bytes);
  EXPECT_EQ(files_.read(file_), bytes);
  files_.writeAtomically(file_, "");
  EXPECT_EQ(files_.read(file_), "");
  EXPECT_EQ(modeOf(file_), 0600u);
  EXPECT_EQ(entriesOf(folder_.path()), 1u);
}

TEST_F(PosixFilesTest, AFailedWriteLeavesTheOldFileAndNothingElse) {
  files_.writeAtomically(file_, "old");
  std::string failure;
  {
    const FileSizeLimit limit(1000);
    try {
      files_.writeAtomically(file_, std::string(5000, 'x'));
    } catch (const FileError& error) {
      failure = error.what();
    }
  }
  EXPECT_EQ(failure, file_.string() + ": File too large");
  EXPECT_EQ(files_.read(file_), "old");
  EXPECT_EQ(entriesOf(folder_.path()), 1u);
  fs::create_directory(folder_.path() / "taken");
  EXPECT_THROW(files_.writeAtomically(folder_.path() / "taken", "x"), FileError);
  EXPECT_EQ(entriesOf(folder_.path()), 2u);
  EXPECT_THROW(files_.writeAtomically(folder_.path() / "none" / "x", "x"), FileError);
  EXPECT_THROW(files_.writeAtomically("/proc/settings.json", "x"), FileError);
  EXPECT_FALSE(files_.createFolder("/proc/halcyra"));
}

TEST_F(PosixFilesTest, AStagedFileIsPutInPlaceOrLeavesNothing) {
  files_.writeAtomically(file_, "old");
  files_.stage(file_, "never");
  EXPECT_EQ(entriesOf(folder_.path()), 1u);
  const auto staged = files_.stage(file_, "new");
  EXPECT_EQ(files_.read(file_), "old");
  files_.writeAtomically(file_, "of another");
  staged->putInPlace();
  EXPECT_EQ(files_.read(file_), "new");
  EXPECT_EQ(entriesOf(folder_.path()), 1u);
  const auto lost = files_.stage(file_, "newer");
  for (const auto& entry : fs::directory_iterator(folder_.path())) {
    if (entry.path() != file_) fs::remove(entry.path());
  }
  EXPECT_THROW(lost->putInPlace(), FileError);
  EXPECT_EQ(files_.read(file_), "new");
}

TEST_F(PosixFilesTest, LinksAreFollowed) {
  const fs::path link = folder_.path() / "link";
  fs::create_symlink("second", link);
  fs::create_symlink(file_, folder_.path() / "second");
  EXPECT_EQ(files_.read(link), std::nullopt);
  for (const char* text : {"new", "newer"}) {
    files_.writeAtomically(link, text);
    EXPECT_EQ(files_.read(file_), text);
    EXPECT_TRUE(fs::is_symlink(link));
  }
  fs::create_symlink("loop", folder_.path() / "loop");
  EXPECT_THROW(files_.writeAtomically(folder_.path() / "loop", "x"), FileError);
  EXPECT_THROW(files_.read(folder_.path() / "loop"), FileError);
}

TEST_F(PosixFilesTest, WhatIsNoModestFileCannotBeRead) {
  EXPECT_THROW(files_.read(folder_.path()), FileError);
  ASSERT_EQ(mkfifo((folder_.path() / "pipe").c_str(), 0600), 0);
  EXPECT_THROW(files_.read(folder_.path() / "pipe"), FileError);
  files_.writeAtomically(file_, "");
  fs::resize_file(file_, PosixFileStore::largestFile + 1);
  EXPECT_THROW(files_.read(file_), FileError);
}

TEST_F(PosixFilesTest, AWriteClearsAwayWhatKilledWritersLeftLongAgo) {
  const auto put = [&](const std::string& name, std::chrono::minutes age) {
    files_.writeAtomically(folder_.path() / name, "x");
    fs::last_write_time(folder_.path() / name, fs::file_time_type::clock::now() - age);
  };
  const std::vector<std::string> others = {".settings.json.abcdefg", ".settings.jsonXabcdef",
                                           "settings.json.abcdef", ".other.json.abcdef"};
  for (const std::string& name : others) put(name, std::chrono::minutes(90));
  put(".settings.json.young1", std::chrono::minutes(30));
  put(".settings.json.aB3dE9", std::chrono::minutes(90));
  files_.writeAtomically(file_, "new");
  EXPECT_FALSE(fs::exists(folder_.path() / ".settings.json.aB3dE9"));
  EXPECT_EQ(entriesOf(folder_.path()), others.size() + 2);
}

TEST_F(PosixFilesTest, FoldersAreTheOwnersAlone) {
  const fs::path deep = folder_.path() / "a" / "b";
  EXPECT_TRUE(files_.createFolder(deep));
  EXPECT_TRUE(files_.createFolder(deep));
  EXPECT_EQ(modeOf(deep), 0700u);
  EXPECT_EQ(modeOf(deep.parent_path()), 0700u);
  fs::permissions(deep, fs::perms(0775));
  fs::permissions(deep.parent_path(), fs::perms(0755));
  EXPECT_TRUE(files_.createFolder(deep));
  EXPECT_EQ(modeOf(deep), 0700u);
  EXPECT_EQ(modeOf(deep.parent_path()), 0755u) << "not the settings folder";
  files_.writeAtomically(file_, "");
  EXPECT_FALSE(files_.createFolder(file_));
}

TEST_F(PosixFilesTest, TheFileKeychainKeepsItsItems) {
  const fs::path secrets = folder_.path() / "halcyra" / "secrets.json";
  fs::create_directory(secrets.parent_path());
  fs::permissions(secrets.parent_path(), fs::perms(0755));
  FileKeychain keychain(files_, secrets);
  const auto read = [&](const char* account) {
    return keychain.read(account, KeychainPrompt::skipped);
  };
  EXPECT_EQ(read("a").status, itemNotFound);
  EXPECT_EQ(keychain.update("a", "x"), itemNotFound);
  EXPECT_EQ(keychain.remove("a"), itemNotFound);
  EXPECT_EQ(keychain.add("b", "x"), success);
  EXPECT_EQ(keychain.add("a", "\"ü\n"), success);
  EXPECT_EQ(keychain.add("a", "y"), duplicateItem);
  EXPECT_EQ(keychain.add("c", "\xFF"), ioError);
  EXPECT_EQ(keychain.update("b", "z"), success);
  EXPECT_EQ(keychain.listAccounts().accounts, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(keychain.remove("b"), success);
  EXPECT_EQ(FileKeychain(files_, secrets).read("a", KeychainPrompt::allowed).value, "\"ü\n");
  EXPECT_EQ(modeOf(secrets), 0600u);
  EXPECT_EQ(modeOf(secrets.parent_path()), 0700u);
  fs::permissions(secrets, fs::perms(0644));
  EXPECT_EQ(read("a").status, success);
  EXPECT_EQ(modeOf(secrets), 0600u);
}

TEST_F(PosixFilesTest, ADamagedSecretsFileIsNoEmptyOne) {
  FileKeychain keychain(files_, file_);
  for (const std::string text : {"", "{", "[]", "{\"a\": 1}", "\xFF"}) {
    SCOPED_TRACE(text);
    files_.writeAtomically(file_, text);
    EXPECT_EQ(keychain.read("a", KeychainPrompt::allowed).status, ioError);
    EXPECT_EQ(keychain.listAccounts().status, ioError);
    EXPECT_EQ(keychain.add("a", "x"), ioError);
    EXPECT_EQ(keychain.update("a", "x"), ioError);
    EXPECT_EQ(keychain.remove("a"), ioError);
    EXPECT_EQ(files_.read(file_), text);
  }
  EXPECT_NE(keychain.describe(ioError)->find(file_.string()), std::string::npos);
  files_.writeAtomically(file_, "{}");
  const FileSizeLimit limit(10);
  EXPECT_EQ(keychain.add("a", "longer than that"), cannotWrite);
  EXPECT_NE(keychain.describe(cannotWrite)->find("make room"), std::string::npos);
  EXPECT_EQ(files_.read(file_), "{}");
}

}  // namespace
}  // namespace halcyra

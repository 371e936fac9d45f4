#include "platform/linux/XdgBrowser.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "sandbox/TemporaryFolder.h"

namespace halcyra {
namespace {

TEST(XdgBrowser, StartsTheProgramWithoutAShellAndLeavesItAlone) {
  const sandbox::TemporaryFolder folder;
  const std::string program = folder.path() / "open", pipe = folder.path() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::ofstream(program) << "#!/bin/sh\n{ echo \"$$\" \"$#\" \"$1\"; ls /proc/$$/fd; } >'" << pipe
                         << "'\n";
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  // A number that the shell has no use for itself.
  const int inherited = fcntl(STDERR_FILENO, F_DUPFD, 200);
  const std::string address = "https://a.example/?x=1&y=$(touch z);'\"";
  ASSERT_TRUE(XdgBrowser(program).open(address));  // returns although the program still waits

  pid_t child = 0;
  std::string count, argument;
  std::ifstream written(pipe);
  written >> child >> count >> argument;
  EXPECT_EQ(count, "1");
  EXPECT_EQ(argument, address.substr(0, address.find(' ')));
  std::stringstream descriptors;
  descriptors << written.rdbuf();
  EXPECT_EQ(descriptors.str().find("\n" + std::to_string(inherited) + "\n"), std::string::npos);
  ::close(inherited);

  // It is reaped without anybody asking.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (kill(child, 0) == 0 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
  EXPECT_NE(kill(child, 0), 0);
}

TEST(XdgBrowser, RefusesWhatItCannotOpen) {
  EXPECT_FALSE(XdgBrowser("/nonexistent/xdg-open").open("https://a.example/"));
  for (const char* address : {"", "--help", "file:///etc/passwd", "httpx://a"}) {
    EXPECT_FALSE(XdgBrowser("/bin/true").open(address)) << address;
  }
}

}  // namespace
}  // namespace halcyra

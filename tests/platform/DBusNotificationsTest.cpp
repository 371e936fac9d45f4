#include "platform/linux/DBusNotifications.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <systemd/sd-bus.h>

#include <boost/asio/thread_pool.hpp>
#include <fstream>

#include "support/DBusSession.h"
#include "support/RunTask.h"
#include "text/Json.h"

namespace halcyra {
namespace {

constexpr const char* serviceName = "org.freedesktop.Notifications";

// A screen and dunst on a session bus of their own; dunst reads markup or does not.
struct NotificationDesktop {
  explicit NotificationDesktop(std::string markup)
      : dunst({.arguments = {"dunst", "-conf", configFile(markup)}}) {
    bus.awaitOwner(serviceName);
  }
  ~NotificationDesktop() {
    dunst.stop(patience);
    screen.stop(patience);  // by request, so that it removes its lock file
  }

  std::string configFile(const std::string& markup) {
    const std::string file = folder.path() / "dunstrc";
    std::ofstream(file) << "[global]\nmarkup = " << markup << "\nformat = \"%s|%b\"\n";
    return file;
  }

  static constexpr std::chrono::seconds patience{20};

  sandbox::TemporaryFolder folder;
  DBusSession bus;
  sandbox::ChildProcess screen{
      {.arguments = {"Xvfb", "-displayfd", "1", "-screen", "0", "800x300x24"}}};
  ScopedVariable display{"DISPLAY", ":" + screen.readLine(patience).value()};
  sandbox::ChildProcess dunst;
};

std::string outputOf(const std::string& command) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  for (int c = 0; (c = fgetc(pipe)) != EOF;) output += static_cast<char>(c);
  return pclose(pipe) == 0 ? output : command + " failed";
}

// Everything that dunst was given, the newest first.
nlohmann::json shownNotifications() {
  outputOf("dunstctl close-all");
  return nlohmann::json::parse(outputOf("dunstctl history")).at("data").at(0);
}

bool post(std::string title, std::string body,
          std::chrono::milliseconds longest = std::chrono::seconds(5)) {
  boost::asio::thread_pool workers(1);
  DBusNotifications notifications(workers.get_executor(), longest);
  return runTask(notifications.post(std::move(title), std::move(body)));
}

TEST(DBusNotifications, TextsAppearAsTheyAreAndOnceEach) {
  for (const char* markup : {"full", "no"}) {
    NotificationDesktop desktop(markup);
    EXPECT_TRUE(post("Rechnung <b>eilig</b> &amp; 5 < 6", "<i>neu</i> &amp; gut\a"));
    EXPECT_TRUE(post("Second\nline", "日本語 👩‍👩‍👧"));

    const nlohmann::json shown = shownNotifications();
    ASSERT_EQ(shown.size(), 2u);
    const auto field = [&](std::size_t index, const char* name) {
      return shown.at(index).at(name).at("data").get<std::string>();
    };
    EXPECT_EQ(field(0, "appname"), "Halcyra");
    // In the markup that dunst paints from: what is on the screen has neither bold nor italics.
    EXPECT_EQ(field(0, "message"), "Second line|日本語 👩‍👩‍👧");
    EXPECT_EQ(field(1, "message"),
              "Rechnung &lt;b&gt;eilig&lt;/b&gt; &amp;amp; 5 &lt; 6|"
              "&lt;i&gt;neu&lt;/i&gt; &amp;amp; gut")
        << markup;
  }
}

TEST(DBusNotifications, NoServiceIsAQuietNo) {
  {
    DBusSession bus;
    EXPECT_FALSE(post("title", "body"));
  }
  ScopedVariable noBus("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  ScopedVariable noRuntimeFolder("XDG_RUNTIME_DIR", std::nullopt);
  EXPECT_FALSE(post("title", "body"));
  ScopedVariable goneBus("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
  EXPECT_FALSE(post("title", "body"));
}

TEST(DBusNotifications, ServiceWithoutAnswerIsAnErrorAfterTheLimit) {
  DBusSession session;
  sd_bus* silent = nullptr;
  ASSERT_GE(sd_bus_open_user(&silent), 0);
  ASSERT_GE(sd_bus_request_name(silent, serviceName, 0), 0);
  try {
    post("title", "body", std::chrono::milliseconds(100));
    ADD_FAILURE() << "a silent service was taken for one that answers";
  } catch (const NotificationError& error) {
    EXPECT_STREQ(error.what(), "the notification service does not answer");
  }
  sd_bus_flush_close_unref(silent);
}

}  // namespace
}  // namespace halcyra

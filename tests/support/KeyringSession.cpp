#include "support/KeyringSession.h"

#include <gio/gio.h>

#include <stdexcept>
#include <string>

#include "support/DBusSession.h"

namespace halcyra {
namespace {

constexpr const char* addressVariable = "DBUS_SESSION_BUS_ADDRESS";
constexpr const char* secretServiceName = "org.freedesktop.secrets";
constexpr guint startSeconds = 20;

// The bus, with a connection of the test's own.
class Bus {
 public:
  static Bus& get() {
    static Bus bus;
    return bus;
  }

  const std::string& address() const { return session_.address(); }

  // Waits until the name has an owner, or has none.
  void await(const char* name, bool owner) {
    GMainContext* const context = g_main_context_new();
    g_main_context_push_thread_default(context);
    GMainLoop* const loop = g_main_loop_new(context, FALSE);
    Waiting waiting{loop, owner, false};
    const guint watch = g_bus_watch_name_on_connection(
        connection_, name, G_BUS_NAME_WATCHER_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, const gchar*, gpointer data) {
          static_cast<Waiting*>(data)->sees(true);
        },
        [](GDBusConnection*, const gchar*, gpointer data) {
          static_cast<Waiting*>(data)->sees(false);
        },
        &waiting, nullptr);
    GSource* const limit = g_timeout_source_new_seconds(startSeconds);
    g_source_set_callback(
        limit,
        [](gpointer data) -> gboolean {
          g_main_loop_quit(static_cast<GMainLoop*>(data));
          return G_SOURCE_REMOVE;
        },
        loop, nullptr);
    g_source_attach(limit, context);
    g_main_loop_run(loop);
    g_source_destroy(limit);
    g_source_unref(limit);
    g_bus_unwatch_name(watch);
    g_main_loop_unref(loop);
    g_main_context_pop_thread_default(context);
    g_main_context_unref(context);
    if (!waiting.isMet) {
      throw std::runtime_error(std::string(name) + (owner ? " did not start" : " did not end"));
    }
  }

  void lock(const char* collection) {
    const char* const objects[] = {collection, nullptr};
    GVariant* const reply = g_dbus_connection_call_sync(
        connection_, secretServiceName, "/org/freedesktop/secrets",
        "org.freedesktop.Secret.Service", "Lock", g_variant_new("(^ao)", objects), nullptr,
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (!reply) throw std::runtime_error("the collection cannot be locked");
    g_variant_unref(reply);
  }

 private:
  struct Waiting {
    GMainLoop* loop;
    bool expected;
    bool isMet;

    void sees(bool owner) {
      isMet = owner == expected;
      if (isMet) g_main_loop_quit(loop);
    }
  };

  Bus() {
    constexpr auto flags =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    connection_ = g_dbus_connection_new_for_address_sync(session_.address().c_str(), flags, nullptr,
                                                         nullptr, nullptr);
    if (!connection_) throw std::runtime_error("the session bus does not answer");
  }

  ~Bus() { g_object_unref(connection_); }

  DBusSession session_;
  GDBusConnection* connection_ = nullptr;
};

}  // namespace

KeyringSession::KeyringSession(Daemon daemon) {
  setenv(addressVariable, Bus::get().address().c_str(), 1);
  if (daemon == Daemon::keyring) startKeyring(true);
}

KeyringSession::~KeyringSession() {
  endKeyring();
}

void KeyringSession::lock() {
  Bus::get().lock("/org/freedesktop/secrets/collection/login");
}

void KeyringSession::restartKeyringLocked() {
  endKeyring();
  startKeyring(false);
}

void KeyringSession::endKeyring() {
  if (daemon_) daemon_->stop(std::chrono::seconds(startSeconds));
  daemon_.reset();
  Bus::get().await(secretServiceName, false);
}

void KeyringSession::startKeyring(bool unlocks) {
  sandbox::Command command{
      .arguments = {"gnome-keyring-daemon", "--components=secrets", "--foreground"}};
  if (unlocks) command.arguments.push_back("--unlock");
  for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"}) {
    command.environment[name] = home_.path();
  }
  daemon_.emplace(command);
  daemon_->finishInput("password");
  Bus::get().await(secretServiceName, true);
}

}  // namespace halcyra

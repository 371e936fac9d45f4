#include "platform/linux/DBusNotifications.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/linux/BusLibrary.h"
#include "text/ControlCharacters.h"

namespace halcyra {
namespace {

using Deadline = std::chrono::steady_clock::time_point;

struct CloseBus {
  void operator()(sd_bus* bus) const { sdBus().closeUnref(bus); }
};
struct ReleaseMessage {
  void operator()(sd_bus_message* message) const { sdBus().unref(message); }
};
using Bus = std::unique_ptr<sd_bus, CloseBus>;
using Message = std::unique_ptr<sd_bus_message, ReleaseMessage>;

struct CallError {
  CallError() = default;
  CallError(const CallError&) = delete;
  CallError& operator=(const CallError&) = delete;
  ~CallError() { sdBus().errorFree(&error); }

  sd_bus_error error = SD_BUS_ERROR_NULL;
};

// The session has nothing that could show a notification.
struct NoService {};

int checked(int result) {
  if (result < 0) throw NotificationError(std::strerror(-result));
  return result;
}

std::uint64_t microsecondsUntil(Deadline deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
      deadline - std::chrono::steady_clock::now());
  if (left.count() <= 0) throw NotificationError("the notification service does not answer");
  return static_cast<std::uint64_t>(left.count());
}

// The library would wait for the bus's greeting longer than the whole post may take.
Bus openSessionBus(Deadline deadline) {
  sd_bus* opened = nullptr;
  if (sdBus().openUser(&opened) < 0) throw NoService();
  Bus bus(opened);
  while (true) {
    const int ready = sdBus().isReady(bus.get());
    if (ready > 0) return bus;
    const int processed = ready < 0 ? ready : sdBus().process(bus.get(), nullptr);
    if (processed < 0) throw NoService();
    if (processed != 0) continue;
    const int waited = sdBus().wait(bus.get(), microsecondsUntil(deadline));
    if (waited != -EINTR) checked(waited);
  }
}

// A service that the bus knows but cannot start, as without a display, is no service either.
bool isNoService(const sd_bus_error& error) {
  const std::string_view name = error.name == nullptr ? "" : error.name;
  return name == SD_BUS_ERROR_SERVICE_UNKNOWN || name == SD_BUS_ERROR_NAME_HAS_NO_OWNER ||
         name.starts_with("org.freedesktop.DBus.Error.Spawn.");
}

Message newCall(sd_bus& bus, const char* member) {
  sd_bus_message* call = nullptr;
  checked(sdBus().newMethodCall(&bus, &call, "org.freedesktop.Notifications",
                                "/org/freedesktop/Notifications", "org.freedesktop.Notifications",
                                member));
  return Message(call);
}

Message answerTo(sd_bus& bus, const Message& call, Deadline deadline) {
  CallError refused;
  sd_bus_message* answer = nullptr;
  const int result =
      sdBus().call(&bus, call.get(), microsecondsUntil(deadline), &refused.error, &answer);
  if (result >= 0) return Message(answer);
  if (isNoService(refused.error)) throw NoService();
  if (result == -ETIMEDOUT) throw NotificationError("the notification service does not answer");
  const char* words = refused.error.message;
  throw NotificationError(words != nullptr ? onOneLine(words) : std::strerror(-result));
}

bool readsMarkup(sd_bus& bus, Deadline deadline) {
  const Message answer = answerTo(bus, newCall(bus, "GetCapabilities"), deadline);
  checked(sdBus().enterContainer(answer.get(), 'a', "s"));
  const char* capability = nullptr;
  while (checked(sdBus().read(answer.get(), "s", &capability)) > 0) {
    if (std::string_view(capability) == "body-markup") return true;
  }
  return false;
}

std::string withoutMarkup(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    if (c == '&') {
      escaped += "&amp;";
    } else if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

void notify(sd_bus& bus, const std::string& title, const std::string& body, Deadline deadline) {
  const Message call = newCall(bus, "Notify");
  const std::uint32_t replacesNone = 0;
  const std::int32_t shownAsLongAsUsual = -1;
  checked(sdBus().append(call.get(), "susssasa{sv}i", "Halcyra", replacesNone, "mail-unread",
                         title.c_str(), body.c_str(), 0, 2, "sound-name", "s", "message-new-email",
                         "category", "s", "email.arrived", shownAsLongAsUsual));
  answerTo(bus, call, deadline);
}

Task<bool> blockingPost(std::string title, std::string body, std::chrono::milliseconds longest) {
  const Deadline deadline = std::chrono::steady_clock::now() + longest;
  try {
    const Bus bus = openSessionBus(deadline);
    std::string text = printable(body);
    if (readsMarkup(*bus, deadline)) text = withoutMarkup(text);
    notify(*bus, onOneLine(title), text, deadline);
  } catch (const NoService&) {
    co_return false;
  } catch (const LibraryError& error) {
    throw NotificationError(error.what());
  }
  co_return true;
}

}  // namespace

Task<bool> DBusNotifications::post(std::string title, std::string body) {
  Task<bool> blocking = blockingPost(std::move(title), std::move(body), longest_);
  Task<bool> elsewhere = runOn(blocking_, std::move(blocking));
  co_return co_await std::move(elsewhere);
}

}  // namespace halcyra

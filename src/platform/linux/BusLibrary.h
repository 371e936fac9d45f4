#pragma once

#include <systemd/sd-bus.h>

#include "platform/linux/SharedLibrary.h"

namespace halcyra {

/// What the program uses of libsystemd: its D-Bus client.
struct BusLibrary {
  SharedLibrary library{"libsystemd.so.0", "libsystemd0"};

  decltype(&sd_bus_open_user) openUser = library["sd_bus_open_user"];
  decltype(&sd_bus_close_unref) closeUnref = library["sd_bus_close_unref"];
  decltype(&sd_bus_is_ready) isReady = library["sd_bus_is_ready"];
  decltype(&sd_bus_process) process = library["sd_bus_process"];
  decltype(&sd_bus_wait) wait = library["sd_bus_wait"];
  decltype(&sd_bus_call) call = library["sd_bus_call"];
  decltype(&sd_bus_error_free) errorFree = library["sd_bus_error_free"];

  decltype(&sd_bus_message_new_method_call) newMethodCall =
      library["sd_bus_message_new_method_call"];
  decltype(&sd_bus_message_append) append = library["sd_bus_message_append"];
  decltype(&sd_bus_message_enter_container) enterContainer =
      library["sd_bus_message_enter_container"];
  decltype(&sd_bus_message_read) read = library["sd_bus_message_read"];
  decltype(&sd_bus_message_unref) unref = library["sd_bus_message_unref"];
};

/// Loads the library at the first call. Any thread may call. Throws LibraryError.
inline const BusLibrary& sdBus() {
  static const BusLibrary library;
  return library;
}

}  // namespace halcyra

#include "support/DBusSession.h"

#include <stdlib.h>
#include <systemd/sd-bus.h>

#include <chrono>
#include <fstream>
#include <stdexcept>

namespace halcyra {
namespace {

constexpr std::chrono::seconds startLimit(20);

void assign(const std::string& name, const std::optional<std::string>& value) {
  if (value) {
    setenv(name.c_str(), value->c_str(), 1);
  } else {
    unsetenv(name.c_str());
  }
}

bool hasOwner(sd_bus* bus, const std::string& name) {
  return sd_bus_get_name_creds(bus, name.c_str(), 0, nullptr) >= 0;
}

}  // namespace

ScopedVariable::ScopedVariable(std::string name, std::optional<std::string> value)
    : name_(std::move(name)) {
  if (const char* before = getenv(name_.c_str())) before_ = before;
  assign(name_, value);
}

ScopedVariable::~ScopedVariable() {
  assign(name_, before_);
}

DBusSession::DBusSession()
    : daemon_({.arguments = {"dbus-daemon", "--config-file=" + configFile(), "--nofork",
                             "--print-address"}}),
      address_(daemon_.readLine(startLimit).value_or("")),
      variable_("DBUS_SESSION_BUS_ADDRESS", address_) {
  if (address_.empty()) throw std::runtime_error("the session bus did not start");
}

std::string DBusSession::configFile() {
  const std::string file = folder_.path() / "bus.conf";
  std::ofstream(file) << "<busconfig><type>session</type><listen>unix:path="
                      << (folder_.path() / "bus").string()
                      << "</listen><policy context='default'><allow send_destination='*'/>"
                         "<allow own='*'/><allow eavesdrop='true'/></policy></busconfig>";
  return file;
}

void DBusSession::awaitOwner(const std::string& name) {
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0) throw std::runtime_error("the session bus does not answer");
  const std::string match = "type='signal',member='NameOwnerChanged',arg0='" + name + "'";
  sd_bus_add_match(bus, nullptr, match.c_str(), nullptr, nullptr);
  const auto deadline = std::chrono::steady_clock::now() + startLimit;
  bool owned = false;
  while (!(owned = hasOwner(bus, name)) && std::chrono::steady_clock::now() < deadline) {
    if (sd_bus_process(bus, nullptr) == 0) sd_bus_wait(bus, 1'000'000);
  }
  sd_bus_flush_close_unref(bus);
  if (!owned) throw std::runtime_error(name + " did not start");
}

}  // namespace halcyra

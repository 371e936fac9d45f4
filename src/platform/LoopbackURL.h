#pragma once

#include <string_view>

namespace halcyra {

/// An http or https address of this machine: a host in 127.0.0.0/8, ::1 or localhost, perhaps with
/// a port and a plain path. Strict on purpose: "http://localhost:80@example.org" is another machine
/// to an HTTP client.
bool isLoopbackURL(std::string_view url);

}  // namespace halcyra

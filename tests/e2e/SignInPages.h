#pragma once

#include <algorithm>
#include <chrono>
#include <string>

#include "platform/linux/CurlHttpClient.h"
#include "sandbox/ChildProcess.h"
#include "support/RunTask.h"

namespace halcyra {

/// The address that a program which signs in tells a person to open.
inline std::string printedAddress(sandbox::ChildProcess& program) {
  program.waitForErrors([](std::string_view all) { return all.find("gives up") != all.npos; },
                        std::chrono::seconds(20));
  const std::string errors = program.errors();
  const std::size_t start = std::min(errors.find("\nhttp"), errors.size() - 1) + 1;
  return errors.substr(start, errors.find('\n', start) - start);
}

/// What a browser shows in the end: it follows the redirect to the program.
inline std::string opened(const std::string& url) {
  CurlHttpClient http;
  HttpRequest request;
  request.url = url;
  return runTask(http.perform(request)).body;
}

}  // namespace halcyra

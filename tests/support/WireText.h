#pragma once

#include <string>

#include "platform/HttpClient.h"

namespace halcyra {

/// A whole request as one text: method and URL, headers, blank line, body.
inline std::string wireText(const HttpRequest& request) {
  std::string text = request.method + " " + request.url + "\n";
  for (const HttpHeader& header : request.headers) {
    text += header.name + ": " + header.value + "\n";
  }
  return text + "\n" + request.body;
}

}  // namespace halcyra

#include "platform/Log.h"

#include "text/ControlCharacters.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

// Whole error pages of servers come here.
constexpr std::size_t longestText = 8192;

}  // namespace

void Log::logLine(std::string_view text, const LogFields& fields) {
  std::string line = printable(repairedUtf8(std::string(text.substr(0, longestText))));
  if (text.size() > longestText) line += "…";
  write("[Halcyra] " + line, fields);
}

}  // namespace halcyra

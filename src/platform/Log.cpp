#include "platform/Log.h"

#include "text/ControlCharacters.h"
#include "text/Utf8.h"

namespace halcyra {

void Log::logLine(std::string_view text, const LogFields& fields) {
  write("[Halcyra] " + printable(repairedUtf8(std::string(text))), fields);
}

}  // namespace halcyra

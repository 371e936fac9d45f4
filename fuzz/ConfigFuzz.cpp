// Any bytes are either a configuration that survives being written and read again, or a
// ConfigError.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "config/ConfigJson.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace halcyra;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    unknownKeys(text);
    discardedRules(text);
    AppConfig config = decodeConfig(text);
    if (decodeConfig(encodeConfig(config)).mailAccounts != config.mailAccounts) std::abort();
    config.rules = config.effectiveRules();
    if (decodeConfig(encodeConfig(config)) != config) std::abort();
    configWithValue(config, text.substr(0, text.find('\n')), "0");
  } catch (const ConfigError&) {
  }
  return 0;
}

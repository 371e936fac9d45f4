#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "mail/IMAPError.h"
#include "mail/IMAPReader.h"
#include "text/Utf8.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

// All units, and last the failure if there was one.
std::vector<std::string> unitsOf(std::string_view bytes, std::size_t piece) {
  std::vector<std::string> units;
  halcyra::IMAPReader reader;
  try {
    for (;;) {
      while (std::optional<std::string> unit = reader.nextUnit()) units.push_back(*unit);
      if (bytes.empty()) return units;
      const std::span<char> room = reader.room();
      require(!room.empty() && room.size() <= halcyra::IMAPReader::largestRoom);
      const std::size_t size = std::min({piece, room.size(), bytes.size()});
      bytes.copy(room.data(), size);
      bytes.remove_prefix(size);
      reader.arrived(size);
    }
  } catch (const halcyra::IMAPError& error) {
    units.emplace_back(error.what());
  }
  return units;
}

}  // namespace

// The first byte says how the rest is split; the units must not depend on it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::vector<std::string> whole = unitsOf(bytes, bytes.size());
  require(unitsOf(bytes, 1 + data[0]) == whole);
  for (const std::string& unit : whole) require(halcyra::isValidUtf8(unit));
  return 0;
}

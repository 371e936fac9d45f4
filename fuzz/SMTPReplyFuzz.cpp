// However the server's bytes are split, the reply lines are those between its line ends, repaired.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "mail/SMTPReply.h"
#include "text/Utf8.h"
#include "text/WithoutSecrets.h"

namespace {

using halcyra::SMTPReplyReader;

struct Reading {
  std::vector<std::string> lines;
  bool refused = false;

  bool operator==(const Reading&) const = default;
};

Reading readInPieces(std::string_view bytes, std::size_t piece) {
  Reading reading;
  SMTPReplyReader reader;
  try {
    for (;;) {
      while (auto line = reader.nextLine()) reading.lines.push_back(std::move(*line));
      if (bytes.empty()) return reading;
      const std::size_t count = std::min({piece, bytes.size(), reader.room().size()});
      std::copy_n(bytes.begin(), count, reader.room().begin());
      reader.arrived(count);
      bytes.remove_prefix(count);
    }
  } catch (const halcyra::SMTPError&) {
    reading.refused = true;
  }
  return reading;
}

Reading expectedFrom(std::string_view bytes) {
  Reading reading;
  std::size_t end;
  while ((end = bytes.find("\r\n")) != bytes.npos && end <= SMTPReplyReader::longestLine) {
    reading.lines.push_back(halcyra::repairedUtf8(std::string(bytes.substr(0, end))));
    bytes.remove_prefix(end + 2);
  }
  if (end == bytes.npos) end = bytes.size() - (bytes.ends_with('\r') ? 1 : 0);
  reading.refused = end > SMTPReplyReader::longestLine;
  return reading;
}

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

// The first byte tells the size of the pieces, and whether the rest comes often enough for a line
// that is too long.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view rest(reinterpret_cast<const char*>(data + 1), size - 1);
  std::string bytes;
  for (int times = data[0] < 224 ? 1 : 32; times > 0; --times) bytes += rest;
  const Reading expected = expectedFrom(bytes);
  require(readInPieces(bytes, SMTPReplyReader::longestLine) == expected);
  require(readInPieces(bytes, 1u + data[0] % 32) == expected);

  const std::vector<std::string> secrets{"ab", "cdab"};
  for (const std::string& line : expected.lines) {
    const std::string shown = halcyra::withoutSecrets(line, secrets);
    require(shown.find("ab") == shown.npos);
  }
  return 0;
}

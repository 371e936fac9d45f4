// However a request is split, it comes to the same; what is taken for a redirect is a URL that
// continues ours, and reading its code never fails otherwise than as told.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "signin/OAuthFlowError.h"
#include "signin/OAuthRedirect.h"
#include "signin/RequestLine.h"
#include "text/Utf8.h"

namespace {

using halcyra::RequestLine;

void require(bool condition) {
  if (!condition) std::abort();
}

RequestLine::State readInPieces(RequestLine& line, std::string_view bytes, std::size_t piece) {
  auto state = RequestLine::State::incomplete;
  while (!bytes.empty() && state == RequestLine::State::incomplete) {
    state = line.add(bytes.substr(0, piece));
    bytes.remove_prefix(std::min(piece, bytes.size()));
  }
  return state;
}

}  // namespace

// The first byte tells the size of the pieces.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  RequestLine whole, split;
  const auto state = readInPieces(whole, bytes, bytes.size());
  require(readInPieces(split, bytes, 1u + data[0]) == state);
  if (state != RequestLine::State::complete) return 0;
  require(whole.text() == split.text() && halcyra::isValidUtf8(whole.text()));

  const halcyra::RequestReply reply = halcyra::replyToRequestLine(whole.text(), false);
  if (!reply.redirectURL) return 0;
  require(reply.redirectURL->starts_with(halcyra::redirectOrigin));
  try {
    require(!halcyra::authorizationCode(*reply.redirectURL).empty());
  } catch (const halcyra::OAuthFlowError&) {
  }
  return 0;
}

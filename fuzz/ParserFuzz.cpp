#include <cstdint>
#include <cstdlib>
#include <vector>

#include "mail/ParsedMail.h"
#include "text/Graphemes.h"
#include "text/Utf8.h"

// Any bytes, repaired as the mail client does, give a record of valid text with a bounded body,
// and the same one when the message is taken apart in place.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace halcyra;
  const std::string text = repairedUtf8({reinterpret_cast<const char*>(data), size});
  std::vector<std::string> units{std::string(literalMarker) + text};
  auto mail = ParsedMail::fromIMAPFetch("", 0, units);
  if (mail && mail->rawRFC822 != text) std::abort();
  if (mail) mail->rawRFC822.clear();
  if (mail != ParsedMail::withoutSource(text)) std::abort();
  if (!mail) return 0;
  for (const std::string* field :
       {&mail->messageID, &mail->subject, &mail->from, &mail->date, &mail->bodyText}) {
    if (!isValidUtf8(*field)) std::abort();
  }
  // 50,000 characters, the line feed and the ellipsis of the cut.
  if (hasMoreGraphemesThan(mail->bodyText, 50'002)) std::abort();
  return 0;
}

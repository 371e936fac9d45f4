#include <cstdint>
#include <cstdlib>

#include "mail/DecodeHTMLEntities.h"
#include "mail/HtmlToPlainText.h"
#include "text/Trim.h"
#include "text/Utf8.h"

// Any text gives valid, trimmed text with its blanks collapsed.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace halcyra;
  const std::string html = repairedUtf8({reinterpret_cast<const char*>(data), size});
  const std::string text = htmlToPlainText(html);
  if (!isValidUtf8(text) || trimmed(text) != text) std::abort();
  if (text.find("\n\n\n") != text.npos || text.find("  ") != text.npos) std::abort();
  if (!isValidUtf8(decodeHTMLEntities(html))) std::abort();
  looksLikeHtml(html);
  return 0;
}

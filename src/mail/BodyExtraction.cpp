#include "mail/BodyExtraction.h"

#include "mail/BodyCleanup.h"
#include "mail/ContentType.h"
#include "mail/DecodeHTMLEntities.h"
#include "mail/Headers.h"
#include "mail/HtmlToPlainText.h"
#include "mail/MimeWalk.h"
#include "mail/Mojibake.h"
#include "mail/QuotedPrintable.h"

namespace halcyra {
namespace {

constexpr int mojibakePasses = 3;

void undoQuotedPrintable(std::string& text, std::string_view charset) {
  if (hasQuotedPrintableResidue(text)) text = decodeQuotedPrintable(text, charset);
}

void repairWords(std::string& text) {
  text = decodeHTMLEntities(std::move(text));
  text = repairMojibake(std::move(text), mojibakePasses);
  text = decodeHTMLEntities(std::move(text));
  stripLinkResidue(text);
}

}  // namespace

std::string extractBodyText(std::string_view headers, std::string_view body) {
  const std::string charset =
      parseContentType(headerValue("Content-Type", headers).value_or("")).charset;
  std::string text = walkMIME(headers, body);
  undoQuotedPrintable(text, charset);
  if (!text.empty()) {
    if (looksLikeHtml(text)) text = htmlToPlainText(std::move(text));
    repairWords(text);
    dropRepeatedLines(text);
  } else {
    text = stripMIMENoise(body);
    undoQuotedPrintable(text, charset);
    repairWords(text);
  }
  finalCleanup(text);
  return text;
}

}  // namespace halcyra

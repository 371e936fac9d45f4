#include "mail/BodyExtraction.h"

#include <utility>

#include "mail/BodyCleanup.h"
#include "mail/ContentType.h"
#include "mail/DecodeHTMLEntities.h"
#include "mail/Headers.h"
#include "mail/HtmlToPlainText.h"
#include "mail/MimeWalk.h"
#include "mail/Mojibake.h"
#include "mail/QuotedPrintable.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr int mojibakePasses = 3;

void undoQuotedPrintable(std::string& text, std::string_view headers) {
  if (hasQuotedPrintableResidue(text))
    text = decodeQuotedPrintable(std::move(text), contentType(headers).charset);
}

void repairWords(std::string& text) {
  text = decodeHTMLEntities(std::move(text));
  text = repairMojibake(std::move(text), mojibakePasses);
  text = decodeHTMLEntities(std::move(text));
  stripLinkResidue(text);
}

// Cleans the text of a part that was chosen.
void cleanText(std::string& text) {
  if (looksLikeHtml(text)) text = htmlToPlainText(std::move(text));
  repairWords(text);
  dropRepeatedLines(text);
}

}  // namespace

std::string extractBodyText(std::string_view headers, std::string_view body) {
  std::string text = walkMIME(headers, body);
  undoQuotedPrintable(text, headers);
  if (!text.empty()) {
    cleanText(text);
  } else {
    text.shrink_to_fit();  // what was a large text before it was cleaned is not held twice
    text = stripMIMENoise(body);
    undoQuotedPrintable(text, headers);
    repairWords(text);
  }
  finalCleanup(text);
  return text;
}

std::string takeBodyText(std::string message) {
  const auto [headers, body] = splitHeaders(message);
  if (!isPlainAsItStands(headers, body)) return extractBodyText(headers, body);
  message.erase(0, message.size() - body.size());
  trim(message);
  cleanText(message);
  finalCleanup(message);
  return message;
}

}  // namespace halcyra

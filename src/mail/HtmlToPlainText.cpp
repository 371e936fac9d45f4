#include "mail/HtmlToPlainText.h"

#include <algorithm>
#include <optional>

#include "mail/DecodeHTMLEntities.h"
#include "mail/HtmlScanners.h"
#include "mail/MarkupSurvey.h"
#include "mail/QuotedPrintable.h"
#include "text/RegexClasses.h"
#include "text/Trim.h"
#include "text/WideSpace.h"

namespace halcyra {
namespace {

void removeSilentElements(std::string& text, const MarkupSurvey& survey) {
  for (std::size_t at = 0; at < silentElements.size(); ++at) {
    if (!survey.elements[at]) continue;
    replaceMatches(text, "\n",
                   [name = silentElements[at]](std::string_view html, std::size_t from) {
                     return nextElement(html, from, name);
                   });
  }
}

void replaceClosingTag(std::string& text, std::string_view name, std::string_view by) {
  replaceMatches(text, by, [name](std::string_view html, std::size_t from) {
    return nextClosingTag(html, from, name);
  });
}

// What one step leaves can be a match of the next.
void breakBlocksInOrder(std::string& text) {
  replaceMatches(text, "\n", nextLineBreak);
  replaceClosingTag(text, "p", "\n\n");
  replaceClosingTag(text, "div", "\n");
  replaceClosingTag(text, "tr", "\n");
  replaceMatches(text, "\n\n", nextHeadingEnd);
}

// All steps in one, for block ends that are apart.
void breakBlocksAtOnce(std::string& text) {
  std::string_view by;
  const auto next = [&by](std::string_view html, std::size_t from) -> std::optional<Match> {
    const std::optional<BlockEnd> found = nextBlockEnd(html, from);
    if (!found) return std::nullopt;
    by = found->by;
    return found->match;
  };
  rewriteMatches(text, next, [&by](std::string_view) { return by; });
}

void breakBlocks(std::string& text, const MarkupSurvey& survey) {
  survey.blockEndsAreApart ? breakBlocksAtOnce(text) : breakBlocksInOrder(text);
  if (survey.comments) replaceMatches(text, "", nextComment);
  // A comment that goes can leave the opening of another.
  if (survey.comments || survey.characterData) replaceMatches(text, "\n", nextCharacterData);
}

// <(?:/?)(?:html|head|...)\b
bool hasKnownTag(std::string_view text) {
  static constexpr std::string_view names[] = {"html",  "head",   "body", "div",  "span", "table",
                                               "tr",    "td",     "p",    "br",   "a",    "img",
                                               "style", "script", "meta", "link", "font", "mjml"};
  const auto known = [text](std::size_t begin) {
    std::size_t name = begin + 1;
    if (name < text.size() && text[name] == '/') ++name;
    std::size_t end = name;
    while (end < text.size() && text[end] >= 'a' && text[end] <= 'z') ++end;
    if (end == name) return text.npos;
    const bool listed = std::ranges::find(names, text.substr(name, end - name)) != std::end(names);
    return listed && wordEndsAt(text, end) ? end : text.npos;
  };
  return nextStartingWith(text, '<', 0, known).has_value();
}

// (?i)href\s*=\s*["']?https?://
bool hasLinkAttribute(std::string_view text) {
  for (std::size_t equals = 0; (equals = text.find('=', equals)) != text.npos; ++equals) {
    if (hrefBefore(text, equals) == text.npos) continue;
    std::size_t address = skipWhiteSpace(text, equals + 1);
    if (address < text.size() && (text[address] == '"' || text[address] == '\'')) ++address;
    const std::size_t scheme = foldedMatchEnd(text, address, "http");
    if (scheme == text.npos) continue;
    const std::size_t secure = foldedMatchEnd(text, scheme, "s");
    if (text.substr(secure == text.npos ? scheme : secure).starts_with("://")) return true;
  }
  return false;
}

// <[a-zA-Z!/][^>\n]*>, twice
bool hasTwoTags(std::string_view text) {
  const auto opensTag = [text](std::size_t position) {
    if (position >= text.size()) return false;
    const char c = text[position];
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '!' || c == '/';
  };
  int tags = 0;
  for (std::size_t begin = 0; (begin = text.find('<', begin)) != text.npos;) {
    if (!opensTag(++begin)) continue;
    // No opening before a line feed is closed behind it.
    begin = findEither(text, '>', '\n', begin);
    if (begin < text.size() && text[begin] == '>' && ++tags == 2) return true;
  }
  return false;
}

}  // namespace

bool looksLikeHtml(std::string_view text) {
  return hasKnownTag(text) || hasLinkAttribute(text) || hasTwoTags(text);
}

std::string htmlToPlainText(std::string text) {
  if (hasQuotedPrintableResidue(text)) text = decodeQuotedPrintable(std::move(text), "");
  const MarkupSurvey survey = surveyMarkup(text);
  removeSilentElements(text, survey);
  breakBlocks(text, survey);
  // Up to 16 passes are allowed for, but one leaves nothing: a "<" that stays is followed by ">" at
  // once or by none at all, and neither changes when other tags go.
  replaceMatches(text, "", nextTag);
  text = decodeHTMLEntities(std::move(text));
  replaceMatches(text, "\n\n", nextBlankRun);
  replaceMatches(text, " ", nextWideSpace);
  trim(text);
  return text;
}

}  // namespace halcyra

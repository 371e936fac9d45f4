#include "mail/MarkupSurvey.h"

#include "mail/HtmlScanners.h"
#include "text/Case.h"
#include "text/RegexClasses.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

void surveyOpening(std::string_view html, std::size_t name, MarkupSurvey& survey) {
  const char letter = asciiLower(html[name]);
  for (std::size_t at = 0; at < silentElements.size(); ++at) {
    // A letter beyond ASCII may fold to the first one.
    if (letter != silentElements[at].front() && isAsciiByte(letter)) continue;
    if (foldedMatchEnd(html, name, silentElements[at]) != html.npos) survey.elements.set(at);
  }
}

}  // namespace

MarkupSurvey surveyMarkup(std::string_view html) {
  MarkupSurvey survey;
  for (std::size_t begin = 0; (begin = html.find('<', begin)) != html.npos; ++begin) {
    const std::string_view rest = html.substr(begin + 1);
    if (rest.starts_with('/')) {
      const std::size_t named = blockCloserNameEnd(html, begin);
      if (named == html.npos) continue;
      const std::size_t behind = skipWhiteSpace(html, named);
      if (behind < html.size() && html[behind] == '<') survey.blockEndsAreApart = false;
    } else if (rest.starts_with('!')) {
      survey.comments |= rest.starts_with("!--");
      survey.characterData |= rest.starts_with("![");
    } else if (!rest.empty()) {
      surveyOpening(html, begin + 1, survey);
    }
  }
  return survey;
}

}  // namespace halcyra

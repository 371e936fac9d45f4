#pragma once

#include <array>
#include <bitset>
#include <string_view>

namespace halcyra {

/// Elements whose content nobody reads, in the order of their removal.
inline constexpr std::array<std::string_view, 7> silentElements = {
    "script", "style", "noscript", "template", "svg", "head", "title"};

/// What an HTML text may hold for the steps of its cleaning, seen in one pass, so that a step that
/// finds nothing need not read the text. Still true when line feeds have taken the place of
/// elements and block ends, since they complete no name.
struct MarkupSurvey {
  /// By the order of `silentElements`.
  std::bitset<silentElements.size()> elements;
  bool comments = false;
  bool characterData = false;
  /// No markup stands between the name of a block's closing tag and its ">", so that the order in
  /// which block ends are replaced makes no difference.
  bool blockEndsAreApart = true;
};

/// Surveys a text before its first step. Linear.
MarkupSurvey surveyMarkup(std::string_view html);

}  // namespace halcyra

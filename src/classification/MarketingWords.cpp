#include "classification/MarketingWords.h"

#include <algorithm>
#include <array>

#include "text/Case.h"
#include "text/RegexClasses.h"

namespace halcyra {
namespace {

bool hasWholeWord(std::string_view text, std::string_view word) {
  for (std::size_t found = text.find(word); found != std::string_view::npos;
       found = text.find(word, found + word.size())) {
    if (wordStartsAt(text, found) && wordEndsAt(text, found + word.size())) return true;
  }
  return false;
}

}  // namespace

bool hasUnsubscribeWord(std::string_view text) {
  constexpr std::string_view word = "unsubscribe";
  const auto same = [](char c, char wanted) { return asciiLower(c) == wanted; };
  return std::search(text.begin(), text.end(), word.begin(), word.end(), same) != text.end();
}

bool hasMarketingWord(std::string_view lowercaseText) {
  constexpr std::array<std::string_view, 5> words = {"promo", "promotion", "deal", "deals", "sale"};
  return std::any_of(words.begin(), words.end(),
                     [&](std::string_view word) { return hasWholeWord(lowercaseText, word); });
}

}  // namespace halcyra

#pragma once

#include <string_view>

namespace halcyra {

/// What searching the lower-cased text for "unsubscribe" would find, without lower-casing it: only
/// ASCII letters become letters of this word.
bool hasUnsubscribeWord(std::string_view text);

/// What \b(promo|promotion|deals?|sale)\b finds in a lower-cased text, with ICU's word boundaries.
bool hasMarketingWord(std::string_view lowercaseText);

}  // namespace halcyra

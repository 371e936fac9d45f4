#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "app/GeneralQuestionSheet.h"

namespace halcyra {

/// The text as a terminal may show it, wrapped after `columns` characters and cut to `lines` lines,
/// the last of which then says how much is missing. `columns` and `lines` are at least 2.
std::string foldedText(std::string_view text, std::size_t columns, std::size_t lines);

/// A suggestion as a person reads it in a terminal: mailbox, rule, sender, subject, the
/// address that a reply goes to, the original on
/// part of a screen, the reply in full. Ends with a line feed.
std::string suggestionCard(const Suggestion& suggestion, std::string_view reply);

/// Numbered from 1, one line each.
std::string considerAsList(const GeneralQuestionSheet& sheet);

/// The sequence that hands a text to the terminal's clipboard (OSC 52 of xterm).
std::string clipboardSequence(std::string_view text);

}  // namespace halcyra

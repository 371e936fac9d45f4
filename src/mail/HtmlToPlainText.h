#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// The words of an HTML text: scripts, styles and the head go, block ends become line feeds, tags
/// and entities are resolved, blanks are collapsed. Trimmed; linear in the text.
std::string htmlToPlainText(std::string text);

/// Whether a text that claims to be plain is to be read as HTML.
bool looksLikeHtml(std::string_view text);

}  // namespace halcyra

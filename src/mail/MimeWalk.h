#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// The text of a message or part: the decoded body, or of a multipart the alternative that says
/// most. Nesting of any depth; linear in the body. Both views must be valid UTF-8.
std::string walkMIME(std::string_view headers, std::string_view body);

/// Whether all that walkMIME would do to such a body is to trim it.
bool isPlainAsItStands(std::string_view headers, std::string_view body);

}  // namespace halcyra

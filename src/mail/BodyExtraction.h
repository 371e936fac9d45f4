#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// The clean text of a message: the words of the part that says most, or of the raw body when no
/// part says anything. Not yet cut to its longest length.
std::string extractBodyText(std::string_view headers, std::string_view body);

/// The same of a whole message that is not needed afterwards: a large plain text is cleaned where
/// it stands.
std::string takeBodyText(std::string message);

}  // namespace halcyra

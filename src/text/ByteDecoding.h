#pragma once

#include <string>
#include <string_view>

namespace halcyra {

/// Bytes of unknown charset as text: UTF-8 if they are valid UTF-8, whatever the label says; else
/// Windows-1252 if the label asks for it and every byte is defined there; else ISO-8859-1, which
/// takes any byte. No other charset is honoured. Needs no second string while `bytes` has the
/// capacity for the text.
std::string decodeBytes(std::string bytes, std::string_view charsetLabel);

}  // namespace halcyra

#pragma once

#include <span>
#include <string>

namespace halcyra {

/// The text with each occurrence of a secret replaced by "***", longer secrets first. For words of
/// servers, some of which repeat what they refuse.
std::string withoutSecrets(std::string text, std::span<const std::string> secrets);

}  // namespace halcyra

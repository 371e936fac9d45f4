#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halcyra {

/// Reads the bodies of Gmail's answers. Keys that are not asked for are ignored; a body that is no
/// JSON or has a value of the wrong type throws JsonError.

struct GmailLabel {
  std::optional<std::string> id;
  std::optional<std::string> name;
  /// "user" or "system".
  std::optional<std::string> type;
};

std::vector<std::string> gmailMessageIds(std::string_view body);

/// The message of a raw answer. Throws ProviderError when it is not base64 (RFC 4648, section 5,
/// with or without padding) or not UTF-8.
std::string gmailRawMessage(std::string_view body);

std::vector<std::string> gmailLabelIds(std::string_view body);
std::vector<GmailLabel> gmailLabels(std::string_view body);

/// The id of a new label, empty when the answer has none.
std::string gmailCreatedLabelId(std::string_view body);

/// The line about a sent mail, from its metadata; empty when that has neither subject nor snippet.
std::string gmailSentLine(std::string_view body);

/// What a person reads about an answer that is no success. Takes any body.
std::string gmailErrorDescription(int status, std::string_view body);

}  // namespace halcyra

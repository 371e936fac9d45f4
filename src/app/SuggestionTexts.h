#pragma once

#include <string_view>

/// The words of the suggestion popup, the same in every face of the program.
namespace halcyra::suggestionTexts {

inline constexpr std::string_view windowTitle = "Suggested replies";
inline constexpr std::string_view closeTab = "×";
inline constexpr std::string_view closeTabHint = "Close this tab";
inline constexpr std::string_view caption = "SUGGESTED REPLY";
inline constexpr std::string_view noSubject = "(No subject)";
inline constexpr std::string_view unknownSender = "Unknown sender";
inline constexpr std::string_view mailboxPrefix = "Mailbox: ";
inline constexpr std::string_view originalCaption = "Original message";
inline constexpr std::string_view replyCaption = "Your reply — sent exactly as written";
inline constexpr std::string_view considerAs = "Consider as";
inline constexpr std::string_view considerAsHint =
    "Apply this rule action instead of the current suggestion.";
inline constexpr std::string_view keepOriginalAction = "Keep original action";
inline constexpr std::string_view sendResponse = "Send response";
inline constexpr std::string_view copyDraft = "Copy draft";
inline constexpr std::string_view notNow = "Not now";
inline constexpr std::string_view sendFailed = "Send failed.";

}  // namespace halcyra::suggestionTexts

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace halcyra {

/// Marks the literal items among the units that the IMAP client hands out for a FETCH.
inline constexpr std::string_view literalMarker = "__LITERAL__\n";

/// The pseudo domain of generated message ids.
inline constexpr std::string_view generatedIdDomain = "halcyra.local";

/// One inbound mail, whatever its transport. All texts are valid UTF-8.
struct ParsedMail {
  std::string accountId;
  /// IMAP UID; for REST mailboxes the number that the caller passed.
  std::uint32_t uid = 0;
  /// Gmail or Graph message id; absent for IMAP.
  std::optional<std::string> providerRESTId;
  /// Message-ID header, trimmed, or a generated form.
  std::string messageID;
  /// Decoded, or "(no subject)".
  std::string subject;
  std::string from;
  /// The Date header as it stands.
  std::string date;
  /// The whole message as received.
  std::string rawRFC822;
  /// Cleaned text, at most 50,000 characters plus the mark of the cut.
  std::string bodyText;

  bool operator==(const ParsedMail&) const = default;

  /// From the units of one UID FETCH; nothing when they hold no message. Takes the units apart, so
  /// that a large message is not copied.
  static std::optional<ParsedMail> fromIMAPFetch(std::string accountId, std::uint32_t uid,
                                                 std::span<std::string> fetchLines);

  /// From a whole message as text; nothing when it is blank.
  static std::optional<ParsedMail> fromRawMessage(std::string accountId, std::string providerRESTId,
                                                  std::uint32_t uid, std::string rawText);

  /// The same as from an IMAP server, but without rawRFC822: what needs only the text of a large
  /// message need not hold both.
  static std::optional<ParsedMail> withoutSource(std::string rawText);

  /// The mail as the model gets it: subject, sender, date and body.
  std::string classificationEmailText() const;
};

}  // namespace halcyra

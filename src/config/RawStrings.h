#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "config/AppConfig.h"

namespace halcyra {

/// The tag of a mailbox's transport in its JSON form; the order of the cases of Kind.
enum class TypeKey { googleGmail, microsoftGraph, imap };

/// The raw strings of an enum as they stand in config.json, in the order of its cases.
template <class Enum>
inline constexpr std::array<std::string_view, 0> rawStrings{};

template <>
inline constexpr std::array<std::string_view, 2> rawStrings<LowConfidenceAction>{"popup", "skip"};

template <>
inline constexpr std::array<std::string_view, 3> rawStrings<TypeKey>{"googleGmail",
                                                                     "microsoftGraph", "imap"};

template <>
inline constexpr std::array<std::string_view, 7> rawStrings<MailRuleAction>{
    "notifyWithSuggestion", "doNothing",          "forwardAndNotify",
    "forwardSilently",      "dynamicsCreateLead", "salesforceCreateLead",
    "runCustomAutomation"};

template <>
inline constexpr std::array<std::string_view, 2> rawStrings<MailRuleMailboxScope>{
    "allMailboxes", "selectedMailboxes"};

template <>
inline constexpr std::array<std::string_view, 2> rawStrings<CRMConnectionKind>{"dynamics365",
                                                                               "salesforce"};

template <>
inline constexpr std::array<std::string_view, 5> rawStrings<CustomAutomationStepKind>{
    "createDynamicsLead", "createSalesforceLead", "suggestReply", "forwardAndNotify",
    "forwardSilently"};

template <class Enum>
constexpr std::string_view rawString(Enum value) {
  return rawStrings<Enum>[static_cast<std::size_t>(value)];
}

/// The case with this raw string, or nothing.
template <class Enum>
constexpr std::optional<Enum> enumOfRawString(std::string_view text) {
  const auto& all = rawStrings<Enum>;
  const auto found = std::find(all.begin(), all.end(), text);
  if (found == all.end()) return std::nullopt;
  return static_cast<Enum>(found - all.begin());
}

}  // namespace halcyra

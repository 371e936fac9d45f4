#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// Milliseconds, because the years 1 and 9999, which services write for "never", do not fit into
/// the ticks of the system's clock.
using InternetMoment = std::chrono::sys_time<std::chrono::milliseconds>;

/// "2026-03-05T23:00:00Z" (RFC 3339, section 5.6), without the fraction.
std::string internetDateTime(InternetMoment moment);

/// The moment of a date and time of RFC 3339 with or without fraction; digits beyond the
/// milliseconds are cut. Nothing for anything else, such as a time without an offset.
std::optional<InternetMoment> parseInternetDateTime(std::string_view text);

}  // namespace halcyra

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace halcyra {

/// All but the unreserved characters as %XX (RFC 3986, sections 2.1 and 2.3).
std::string percentEncoded(std::string_view text);

/// One segment of a path: all but the characters that may stand in it as they are (RFC 3986,
/// section 3.3) as %XX. A slash is encoded.
std::string pathSegmentEncoded(std::string_view text);

/// With each %XX replaced by its byte and the result repaired to UTF-8. A "%" without two
/// hexadecimal digits behind it stays.
std::string percentDecoded(std::string_view text);

/// "name=value" joined by "&", both sides encoded. A query of a URL as well as a body of the type
/// application/x-www-form-urlencoded; a blank is %20 in both.
std::string formEncoded(const std::vector<std::pair<std::string, std::string>>& items);

/// One item of a query. `value` is absent where there was no "=".
struct QueryItem {
  std::string name;
  std::optional<std::string> value;

  bool operator==(const QueryItem&) const = default;
};

/// The decoded items of a query ("a=1&b"), without its "?". A "+" stays a "+".
std::vector<QueryItem> queryItems(std::string_view query);

}  // namespace halcyra

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// A Content-Type value (RFC 2045, section 5.1) as far as the walk needs it.
struct ContentType {
  /// The first piece that is not empty, lower-cased.
  std::string mainType;
  /// Without quotes at its ends; empty when missing.
  std::string charset;
  /// Without double quotes at its ends; empty when missing.
  std::string boundary;

  bool isHtml() const { return mainType.starts_with("text/html"); }
  bool isMultipart() const { return mainType.starts_with("multipart/"); }
};

/// Reads a Content-Type value. Quoting is not known to the split: a ";" inside quotes cuts.
ContentType parseContentType(std::string_view value);

/// The Content-Type of a header block; `missing` stands in for one that is not there.
ContentType contentType(std::string_view headers, std::string_view missing = "");

/// The Content-Transfer-Encoding of a header block, lower-cased and without parameters; "7bit" when
/// missing or empty.
std::string transferEncoding(std::string_view headers);

}  // namespace halcyra

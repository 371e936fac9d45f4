#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// Collects what a connection sends until its first line is there. What follows that line, headers
/// and body, is never looked at.
class RequestLine {
 public:
  /// Bytes without a line feed after which a connection is given up.
  static constexpr std::size_t longest = 262144;

  enum class State {
    incomplete,
    complete,
    /// Too long, or not UTF-8: such a connection gets no answer.
    unusable,
  };

  /// Takes the next bytes. Not to be called again after the line is complete.
  State add(std::string_view bytes);

  /// The line without its line feed, once it is complete.
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

/// What a request comes to.
struct RequestReply {
  /// The whole HTTP response.
  std::string answer;
  /// The URL on which the browser came back, with its query; only of the first usable request.
  std::optional<std::string> redirectURL;

  bool operator==(const RequestReply&) const = default;
};

/// Any GET is taken for the redirect, whatever its path. `alreadyRedirected`: one was taken before.
RequestReply replyToRequestLine(std::string_view line, bool alreadyRedirected);

}  // namespace halcyra

#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace halcyra {

/// Cuts the bytes of an IMAP server into read units: lines without their CR LF, and literals
/// (RFC 9051, section 4.3) as text behind the marker of ParsedMail. The line that announces a
/// literal is not handed out. Pure: the owner fetches bytes into `room()` until `nextUnit()` has
/// one. The cost is linear in the bytes, however they are split, and a literal is received into the
/// string that is handed out.
///
///   while (!(unit = reader.nextUnit())) { count = receive(reader.room()); reader.arrived(count); }
class IMAPReader {
 public:
  static constexpr std::size_t longestLine = 1u << 20;
  static constexpr std::size_t longestLiteral = 64u << 20;
  /// Of one exchange, all units together.
  static constexpr std::size_t mostBytes = 80u << 20;
  static constexpr std::size_t mostUnits = 200'000;
  static constexpr std::size_t largestRoom = 2'097'152;

  /// The next unit, or nothing when its bytes are not all here. Throws IMAPError::protocolError for
  /// a line that is not UTF-8 and for anything beyond the bounds above; the reader is of no use
  /// then.
  std::optional<std::string> nextUnit();

  /// Room for further bytes, at least one and at most `largestRoom`; small while little arrives.
  /// Call it when `nextUnit()` had nothing. Valid until the next call of any other function.
  std::span<char> room();

  /// The first `count` bytes of `room()` have been filled.
  void arrived(std::size_t count);

  /// Bytes that arrived and belong to no unit yet, those of an unfinished literal aside.
  std::string_view unread() const { return {buffer_.data() + begin_, end_ - begin_}; }

  /// A new exchange begins: its bounds count from here.
  void startExchange();

  /// Forgets all bytes and gives their memory back.
  void clear();

 private:
  std::optional<std::string_view> takeLine();
  void startLiteral(std::size_t length);
  void moveIntoLiteral();
  bool inLiteral() const { return literalEnd_ != 0; }
  void count(std::size_t bytes);

  // Line mode: buffer_[begin_, end_) is unread, and no line ends before scanned_.
  std::string buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::size_t scanned_ = 0;
  // Literal mode: literal_[0, literalFilled_) is here, literalEnd_ is its whole size with the
  // marker.
  std::string literal_;
  std::size_t literalFilled_ = 0;
  std::size_t literalEnd_ = 0;

  std::size_t units_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace halcyra

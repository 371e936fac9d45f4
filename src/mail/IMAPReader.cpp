#include "mail/IMAPReader.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <utility>

#include "mail/IMAPError.h"
#include "mail/ParsedMail.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

// An ordinary message and its answer arrive in one piece.
constexpr std::size_t firstRoom = 32u << 10;
constexpr std::size_t smallestRoom = 4u << 10;
constexpr std::size_t literalStep = 1u << 20;

std::string inMegabytes(std::size_t bytes) {
  return std::to_string(bytes >> 20) + " MB";
}

// The digits of "{digits}" at the end of a line. Braces at the end of a quoted subject look the
// same and are taken for an announcement too.
std::optional<std::string_view> announcedDigits(std::string_view line) {
  if (!line.ends_with('}')) return std::nullopt;
  line.remove_suffix(1);
  const std::size_t brace = line.find_last_not_of("0123456789");
  if (brace == line.npos || line[brace] != '{' || brace + 1 == line.size()) return std::nullopt;
  return line.substr(brace + 1);
}

std::size_t literalLength(std::string_view digits) {
  std::uint64_t length = 0;
  const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  if (parsed.ec != std::errc() || length > IMAPReader::longestLiteral) {
    throw IMAPError::protocolError("The server announced a message of " +
                                   std::string(digits.substr(0, 20)) + " bytes; messages over " +
                                   inMegabytes(IMAPReader::longestLiteral) + " are refused.");
  }
  return length;
}

[[noreturn]] void refuseLine() {
  throw IMAPError::protocolError("The server sent a line of more than " +
                                 inMegabytes(IMAPReader::longestLine) + ".");
}

}  // namespace

std::optional<std::string> IMAPReader::nextUnit() {
  if (!inLiteral()) {
    const std::optional<std::string_view> line = takeLine();
    if (!line) return std::nullopt;
    if (!isValidUtf8(*line)) throw IMAPError::protocolError("Invalid UTF-8");
    const std::optional<std::string_view> digits = announcedDigits(*line);
    if (!digits) {
      count(line->size());
      return std::string(*line);
    }
    startLiteral(literalLength(*digits));
  }
  moveIntoLiteral();
  if (literalFilled_ < literalEnd_) return std::nullopt;
  literalFilled_ = literalEnd_ = 0;
  return repairedUtf8(std::exchange(literal_, {}));
}

// Consumes the first line with its CR LF. The view holds until the buffer is touched again.
std::optional<std::string_view> IMAPReader::takeLine() {
  while (scanned_ < end_) {
    const void* found = std::memchr(buffer_.data() + scanned_, '\n', end_ - scanned_);
    if (!found) {
      scanned_ = end_;
      break;
    }
    const auto feed = static_cast<std::size_t>(static_cast<const char*>(found) - buffer_.data());
    scanned_ = feed + 1;
    if (feed == begin_ || buffer_[feed - 1] != '\r') continue;
    const std::string_view line(buffer_.data() + begin_, feed - 1 - begin_);
    if (line.size() > longestLine) refuseLine();
    begin_ = scanned_;
    return line;
  }
  // The last byte may be the CR of the line's end.
  if (end_ - begin_ > longestLine + 1) refuseLine();
  return std::nullopt;
}

void IMAPReader::startLiteral(std::size_t length) {
  count(length);
  literal_.reserve(literalMarker.size() + length);
  literal_ = literalMarker;
  literalFilled_ = literal_.size();
  literalEnd_ = literal_.size() + length;
}

// What arrived together with the announcement; later bytes are received into the literal itself.
void IMAPReader::moveIntoLiteral() {
  const std::size_t size = std::min(end_ - begin_, literalEnd_ - literalFilled_);
  if (size == 0) return;
  literal_.append(buffer_, begin_, size);
  literalFilled_ += size;
  begin_ += size;
  scanned_ = begin_;
}

std::span<char> IMAPReader::room() {
  if (inLiteral()) {
    // Grown in steps, so that an announcement alone touches next to no memory.
    if (literalFilled_ == literal_.size()) {
      literal_.resize(std::min(literalEnd_, literal_.size() + literalStep));
    }
    return std::span(literal_).subspan(literalFilled_);
  }
  if (begin_ == end_) begin_ = end_ = scanned_ = 0;
  if (buffer_.size() - end_ < smallestRoom) {
    const bool mayGrow = buffer_.size() < largestRoom;
    if (mayGrow && begin_ <= buffer_.size() / 2) {
      buffer_.resize(std::clamp(buffer_.size() * 2, firstRoom, largestRoom));
    } else {
      // About half or more is read already, at full size because a longer line is refused: each
      // byte is moved a bounded number of times.
      std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
      end_ -= begin_;
      scanned_ -= begin_;
      begin_ = 0;
    }
  }
  return std::span(buffer_).subspan(end_);
}

void IMAPReader::arrived(std::size_t count) {
  if (inLiteral()) {
    literalFilled_ += count;
  } else {
    end_ += count;
  }
}

void IMAPReader::startExchange() {
  units_ = bytes_ = 0;
}

void IMAPReader::clear() {
  // A swap, because assigning an empty string keeps the old one's memory.
  IMAPReader fresh;
  std::swap(*this, fresh);
}

void IMAPReader::count(std::size_t bytes) {
  bytes_ += bytes;
  if (++units_ > mostUnits || bytes_ > mostBytes) {
    throw IMAPError::protocolError("The server sent more than " + std::to_string(mostUnits) +
                                   " lines or " + inMegabytes(mostBytes) +
                                   " in answer to one command.");
  }
}

}  // namespace halcyra

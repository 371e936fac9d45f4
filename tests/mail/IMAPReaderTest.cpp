#include "mail/IMAPReader.h"

#include <gtest/gtest.h>

#include <random>

#include "mail/IMAPError.h"

namespace halcyra {
namespace {

using Units = std::vector<std::string>;

struct Reading {
  Units units;
  std::string failure;
  std::size_t largestRoom = 0;

  bool operator==(const Reading& other) const {
    return units == other.units && failure == other.failure;
  }
};

std::ostream& operator<<(std::ostream& out, const Reading& reading) {
  for (const std::string& unit : reading.units) out << '[' << unit.substr(0, 80) << ']';
  return out << " failure: " << reading.failure;
}

// Feeds the bytes in pieces of at most `piece` bytes; stops at a failure.
Reading read(std::string_view bytes, std::size_t piece = std::string::npos) {
  IMAPReader reader;
  Reading reading;
  try {
    for (;;) {
      while (std::optional<std::string> unit = reader.nextUnit()) {
        reading.units.push_back(std::move(*unit));
      }
      if (bytes.empty()) return reading;
      const std::span<char> room = reader.room();
      reading.largestRoom = std::max(reading.largestRoom, room.size());
      const std::size_t size = std::min({piece, room.size(), bytes.size()});
      bytes.copy(room.data(), size);
      bytes.remove_prefix(size);
      reader.arrived(size);
    }
  } catch (const IMAPError& error) {
    EXPECT_EQ(error.kind(), IMAPError::Kind::protocolError);
    reading.failure = error.what();
  }
  return reading;
}

const std::string longLine(IMAPReader::longestLine, 'x');
const char tooLongLine[] = "The server sent a line of more than 1 MB.";
const char tooMuch[] = "The server sent more than 200000 lines or 80 MB in answer to one command.";

std::string announced(const std::string& digits) {
  return "The server announced a message of " + digits + " bytes; messages over 64 MB are refused.";
}

TEST(IMAPReader, CutsUnitsTheSameHoweverTheyArrive) {
  struct Case {
    std::string bytes;
    Reading expected;
  };
  const std::vector<Case> cases = {
      {"", {}},
      {"* OK no end yet\r", {}},
      {"\r\n\r\n", {{"", ""}, ""}},
      {"a\nb\rc\r\r\nd\r\n", {{"a\nb\rc\r", "d"}, ""}},
      {"* 1 FETCH (BODY[] {5}\r\nab\r\nc)\r\nE1 OK\r\n",
       {{"__LITERAL__\nab\r\nc", ")", "E1 OK"}, ""}},
      {"{0}\r\nnext\r\n", {{"__LITERAL__\n", "next"}, ""}},
      {"{0003}\r\nabc{2}\r\nde", {{"__LITERAL__\nabc", "__LITERAL__\nde"}, ""}},
      {"{4}\r\nabc", {}},
      {"~{2}\r\n\xC3\x28 {1}\r\n\xFF",
       {{"__LITERAL__\n\xEF\xBF\xBD(", "__LITERAL__\n\xEF\xBF\xBD"}, ""}},
      {"Subject {a {2}\r\nhi\r\n", {{"__LITERAL__\nhi", ""}, ""}},
      {"{5} \r\n{}\r\n{5+}\r\n{-5}\r\n5}\r\n{ 5}\r\n",
       {{"{5} ", "{}", "{5+}", "{-5}", "5}", "{ 5}"}, ""}},
      {"ok \xC3\xA9\r\nbad \xC3\r\n", {{"ok \xC3\xA9"}, "Invalid UTF-8"}},
      {"\xED\xA0\x80 {10737418240}\r\n", {{}, "Invalid UTF-8"}},
      {"* {10737418240}\r\n", {{}, announced("10737418240")}},
      {"* {67108865}\r\n", {{}, announced("67108865")}},
      {"* {99999999999999999999999999}\r\n", {{}, announced("99999999999999999999")}},
      {"* {67108864}\r\n", {}},
  };
  for (const Case& c : cases) {
    for (const std::size_t piece : {std::string::npos, std::size_t{1}, std::size_t{3}}) {
      EXPECT_EQ(read(c.bytes, piece), c.expected) << c.bytes << " in pieces of " << piece;
    }
  }
}

TEST(IMAPReader, BoundsHoldToTheByte) {
  EXPECT_EQ(read("a\r\n" + longLine + "\r\nb\r\n").units.size(), 3u);
  EXPECT_EQ(read("a\r\n" + longLine + "x\r\nb\r\n"), (Reading{{"a"}, tooLongLine}));
  EXPECT_EQ(read(longLine + "\r"), Reading{});
  EXPECT_EQ(read(longLine + "xx"), (Reading{{}, tooLongLine}));

  std::string flood;
  for (std::size_t line = 0; line < IMAPReader::mostUnits; ++line) flood += "* 1\r\n";
  EXPECT_EQ(read(flood).units.size(), IMAPReader::mostUnits);
  EXPECT_EQ(read(flood + "* 1\r\n").failure, tooMuch);
  std::string large;
  while (large.size() < IMAPReader::mostBytes + longLine.size()) large += longLine + "\r\n";
  EXPECT_EQ(read(large).failure, tooMuch);
}

TEST(IMAPReader, AnExchangeHasItsOwnBounds) {
  IMAPReader reader;
  for (std::size_t line = 0; line < 3 * IMAPReader::mostUnits; ++line) {
    if (line % IMAPReader::mostUnits == 0) reader.startExchange();
    std::copy_n("*\r\n", 3, reader.room().begin());
    reader.arrived(3);
    ASSERT_EQ(reader.nextUnit(), "*");
  }
}

TEST(IMAPReader, ClearForgetsAPartOfALiteral) {
  IMAPReader reader;
  for (const std::string_view bytes : {"{100}\r\nhalf", "line\r\n"}) {
    reader.clear();
    bytes.copy(reader.room().data(), bytes.size());
    reader.arrived(bytes.size());
    EXPECT_EQ(reader.nextUnit().value_or("none"), bytes == "line\r\n" ? "line" : "none");
  }
  EXPECT_EQ(reader.unread(), "");
}

// A cost that grows with the square would take minutes here: 25 MB byte by byte, and a long line
// behind a half-full buffer.
TEST(IMAPReader, LargeInputIsLinearAndTheLiteralIsNotCopied) {
  const std::string message(25u << 20, 'm');
  const std::string bytes = "* {" + std::to_string(message.size()) + "}\r\n" + message + ")\r\n";
  const Reading byBytes = read(bytes, 1);
  ASSERT_EQ(byBytes.units.size(), 2u);
  EXPECT_TRUE(byBytes.units[0] == "__LITERAL__\n" + message);
  EXPECT_LT(byBytes.units[0].capacity(), message.size() + 100);
  EXPECT_LE(byBytes.largestRoom, IMAPReader::largestRoom);
  EXPECT_EQ(read(longLine + "\r\n" + longLine + "\r\n", 1).units, Units({longLine, longLine}));
  EXPECT_LE(read("* OK\r\n* OK\r\n", 1).largestRoom, 32u << 10) << "an idle mailbox stays small";
}

TEST(IMAPReader, RandomSplitsOfRandomTextAgree) {
  std::mt19937 random(7);
  const std::vector<std::string> words = {"{3}\r\n", "{12}", "\r\n", "\r", "\n", "}",       "{",
                                          "E1 OK",   "\xC3", "\xA9", "a",  "* ", "{70}\r\n"};
  for (int round = 0; round < 2000; ++round) {
    std::string bytes;
    for (int word = 0; word < 30; ++word) bytes += words[random() % words.size()];
    EXPECT_EQ(read(bytes, 1 + random() % 7), read(bytes)) << bytes;
  }
}

}  // namespace
}  // namespace halcyra

#include "mail/BodyCleanup.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>

#include "mail/HtmlScanners.h"
#include "mail/RepeatedLines.h"
#include "text/Case.h"
#include "text/Scan.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr std::string_view blanks = " \t";

// U+FFFC, U+FFFD or U+FEFF, all three bytes long
std::optional<Match> nextSpecial(std::string_view text, std::size_t from) {
  return nextStartingWith(text, '\xEF', from, [text](std::size_t begin) {
    const std::string_view character = text.substr(begin, 3);
    const bool special = character == "\uFFFC" || character == "\uFFFD" || character == "\uFEFF";
    return special ? begin + 3 : text.npos;
  });
}

bool isMimeNoise(std::string_view line) {
  const std::string_view form = trimmedOf(line, blanks);
  if (form.starts_with("--")) return true;
  const auto isHeader = [form](std::string_view name) {
    return equalsIgnoringAsciiCase(form.substr(0, name.size()), name);
  };
  return isHeader("content-type:") || isHeader("content-transfer-encoding:") ||
         isHeader("content-id:") || isHeader("mime-version:");
}

struct LineAhead {
  std::string_view text;
  std::uint64_t hash = 0;
  bool isLast = false;
};

// Takes the next line off the front, without blanks around it.
std::string_view takeTrimmedLine(std::string_view& lines) {
  const std::size_t end = std::min(lines.find('\n'), lines.size());
  const std::string_view line = trimmedOf(lines.substr(0, end), blanks);
  lines.remove_prefix(std::min(end + 1, lines.size()));
  return line;
}

// The next lines of the text, trimmed, as many as there is room for; `begin` is moved behind them.
std::span<const LineAhead> nextLines(std::string_view text, std::size_t& begin, LineMemory& memory,
                                     std::span<LineAhead> room) {
  // Short lines are put into lower case together, which takes less time than each for itself.
  constexpr std::size_t longEnough = 2'048;
  const std::size_t first = begin;
  std::size_t count = 0;
  while (count < room.size() && begin <= text.size() && begin - first < longEnough) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const std::string_view line = trimmedOf(text.substr(begin, end - begin), blanks);
    begin = end + 1;
    room[count++] = {line, 0, end == text.size()};
  }
  const char* const start = room[0].text.data();
  const std::string_view last = room[count - 1].text;
  std::string_view lower =
      memory.lowered({start, static_cast<std::size_t>(last.data() + last.size() - start)});
  for (LineAhead& line : room.first(count)) {
    const std::string_view form = takeTrimmedLine(lower);
    if (!form.empty()) line.hash = memory.hashAhead(form);
  }
  return room.first(count);
}

}  // namespace

void stripLinkResidue(std::string& text) {
  for (const bool wholeTag : {true, false}) {
    replaceMatches(text, "", [wholeTag](std::string_view view, std::size_t from) {
      return nextLinkOpening(view, from, wholeTag);
    });
  }
  replaceMatches(text, "\n", nextTableTag);
}

void dropRepeatedLines(std::string& text) {
  if (text.find('\n') == text.npos) return trim(text);
  // Kept lines are moved to the front, where they are remembered; they never reach the lines behind
  // the one being handled.
  const std::string_view view = text;
  LineMemory seen(view);
  LineAhead ahead[LineMemory::linesAhead];
  std::size_t written = 0;
  bool lastIsEmpty = false;
  for (std::size_t begin = 0; begin <= view.size();) {
    for (const auto& [line, hash, isLast] : nextLines(view, begin, seen, ahead)) {
      std::copy(line.begin(), line.end(), text.begin() + static_cast<std::ptrdiff_t>(written));
      const std::size_t lineEnd = written + line.size();
      if (!isLast) text[lineEnd] = '\n';
      if (line.empty() ? lastIsEmpty : !seen.isNew(written, line.size(), hash)) continue;
      lastIsEmpty = line.empty();
      written = isLast ? lineEnd : lineEnd + 1;
    }
  }
  text.resize(written);
  trim(text);
}

void finalCleanup(std::string& text) {
  replaceMatches(text, "", nextSpecial);
  replaceMatches(text, "", nextShortTag);
  replaceMatches(text, "\n\n", nextBlankRun);
  trim(text);
}

std::string stripMIMENoise(std::string_view body) {
  std::string text;
  text.reserve(body.size());
  for (std::size_t begin = 0; begin <= body.size();) {
    const std::size_t end = std::min(body.find('\n', begin), body.size());
    std::string_view line = body.substr(begin, end - begin);
    begin = end + 1;
    const bool terminated = end < body.size();
    if (terminated && line.ends_with('\r')) line.remove_suffix(1);
    if (isMimeNoise(line)) continue;
    text.append(line);
    if (terminated) text.push_back('\n');
  }
  trim(text);
  return text;
}

}  // namespace halcyra

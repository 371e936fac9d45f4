#include "mail/Headers.h"

#include "text/Case.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr std::string_view blanks = " \t";

// Takes the next line off the front of `rest`. False when nothing is left.
bool takeLine(std::optional<std::string_view>& rest, std::string_view newline,
              std::string_view& line) {
  if (!rest) return false;
  const std::size_t end = rest->find(newline);
  line = rest->substr(0, end);
  if (end == rest->npos) {
    rest.reset();
  } else {
    rest->remove_prefix(end + newline.size());
  }
  return true;
}

}  // namespace

HeaderSplit splitHeaders(std::string_view message) {
  for (const std::string_view blankLine : {"\r\n\r\n", "\n\n"}) {
    const std::size_t end = message.find(blankLine);
    if (end != message.npos) {
      return {message.substr(0, end), message.substr(end + blankLine.size())};
    }
  }
  return {{}, message};
}

std::optional<std::string> headerValue(std::string_view name, std::string_view headerBlock) {
  const std::string_view newline = headerBlock.find("\r\n") != headerBlock.npos ? "\r\n" : "\n";
  std::optional<std::string> value;
  bool inNamed = false;
  std::optional<std::string_view> rest = headerBlock;
  std::string_view line;
  while (takeLine(rest, newline, line)) {
    if (line.starts_with(' ') || line.starts_with('\t')) {
      if (!inNamed) continue;
      // All that may follow, so that a long value does not grow step by step; what is not used
      // costs no memory.
      if (rest) value->reserve(value->size() + 1 + line.size() + rest->size());
      value->append(" ").append(trimmedOf(line, blanks));
      continue;
    }
    const std::size_t colon = line.find(':');
    if (colon == line.npos) continue;
    inNamed = equalsIgnoringAsciiCase(trimmedOf(line.substr(0, colon), blanks), name);
    if (inNamed) value = trimmedOf(line.substr(colon + 1), blanks);
  }
  return value;
}

}  // namespace halcyra

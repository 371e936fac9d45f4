#include "cli/SuggestionCard.h"

#include <algorithm>

#include "app/SuggestionTexts.h"
#include "mail/MailAddress.h"
#include "text/Base64.h"
#include "text/ControlCharacters.h"
#include "text/Graphemes.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

constexpr std::size_t cardColumns = 78;
constexpr std::size_t originalLines = 20;

// Takes a line of the terminal off the text: up to a line feed, the last blank that fits, or the
// edge.
std::string_view takeLine(std::string_view& rest, std::size_t columns) {
  std::string_view line = rest.substr(0, rest.find('\n'));
  const std::string_view fitting = graphemePrefix(line, columns);
  const bool wraps = fitting.size() < line.size();
  if (wraps) {
    const std::size_t blank = fitting.rfind(' ');
    const bool breaksAtBlank = blank != std::string_view::npos && blank > 0;
    line = breaksAtBlank ? fitting.substr(0, blank) : fitting;
    rest.remove_prefix(line.size() + (breaksAtBlank ? 1 : 0));
  } else {
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
  return line;
}

std::string rule(std::string_view caption) {
  std::string line = "──";
  if (!caption.empty()) line += " " + std::string(caption) + " ";
  for (std::size_t used = graphemeCount(line); used < cardColumns; ++used) line += "─";
  return line + "\n";
}

}  // namespace

std::string foldedText(std::string_view text, std::size_t columns, std::size_t lines) {
  const std::string shown = printable(trimmed(text));
  std::string_view rest = shown;
  std::string folded;
  for (std::size_t line = 1; !rest.empty(); ++line) {
    std::string_view after = rest;
    const std::string_view next = takeLine(after, columns);
    if (line == lines && !after.empty()) {
      return folded + "[… " + std::to_string(graphemeCount(rest)) + " more characters]\n";
    }
    folded.append(next) += '\n';
    rest = after;
  }
  return folded;
}

std::string suggestionCard(const Suggestion& suggestion, std::string_view reply) {
  namespace texts = suggestionTexts;
  const ParsedMail& mail = *suggestion.mail;
  const std::string shownReply = printable(reply);
  std::string card = "\n" + rule(texts::caption);
  card += std::string(texts::mailboxPrefix) + onOneLine(suggestion.mailboxLabel) + "\n";
  card += "Rule: " +
          (suggestion.rule ? onOneLine(suggestion.rule->displayName) : "none (low confidence)") +
          "\n";
  card += "From: " + onOneLine(shownSender(mail)) + "\n";
  card += "Reply to: " + onOneLine(extractMailAddress(mail.from).value_or("no address")) + "\n";
  card += "Subject: " + onOneLine(shownSubject(mail)) + "\n";
  card += rule(texts::originalCaption);
  card += foldedText(mail.bodyText, cardColumns, originalLines);
  card += rule(texts::replyCaption);
  return card + (trimmed(reply).empty() ? "(no text yet)" : shownReply) + "\n" + rule("");
}

std::string considerAsList(const GeneralQuestionSheet& sheet) {
  std::string list;
  std::size_t number = 0;
  for (const ConsiderAsItem& item : sheet.considerAsItems()) {
    const char* mark = item.value == sheet.considerAsValue() ? " * " : "   ";
    list += mark + std::to_string(++number) + "  " + onOneLine(item.title) + "\n";
  }
  return list;
}

std::string clipboardSequence(std::string_view text) {
  return "\x1B]52;c;" + encodeBase64(text) + "\x07";
}

}  // namespace halcyra

#include "mail/GraphMessageText.h"

#include "mail/HtmlScanners.h"
#include "text/Case.h"
#include "text/EscapedHtml.h"
#include "text/Scan.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

// <br> and <br/> in any case.
std::optional<Match> nextPlainBreak(std::string_view text, std::size_t from) {
  return nextStartingWith(text, '<', from, [text](std::size_t begin) {
    for (const std::string_view tag : {"<br>", "<br/>"}) {
      if (equalsIgnoringAsciiCase(text.substr(begin, tag.size()), tag)) return begin + tag.size();
    }
    return text.npos;
  });
}

std::string withoutTags(std::string html) {
  replaceMatches(html, "\n", nextPlainBreak);
  replaceMatches(html, "", nextTag);
  return html;
}

std::string senderLine(const GraphMessage::Sender& from) {
  if (!from.address) return "unknown@local";
  if (from.name.value_or("").empty()) return *from.address;
  return *from.name + " <" + *from.address + ">";
}

std::string withLineFeeds(std::string text) {
  const auto nextReturn = [](std::string_view in, std::size_t begin) {
    return nextStartingWith(in, '\r', begin, [in](std::size_t at) {
      return at + (in.substr(at, 2) == "\r\n" ? 2 : 1);
    });
  };
  replaceMatches(text, "\n", nextReturn);
  return text;
}

// A header of its own cannot begin in it.
std::string headerLine(std::string value) {
  value = withLineFeeds(std::move(value));
  for (char& c : value) {
    if (c == '\n') c = ' ';
  }
  return value;
}

}  // namespace

std::string synthesizedMessage(const GraphMessage& message, std::string_view graphId) {
  const std::string messageId = message.internetMessageId
                                    ? std::string(trimmedOf(*message.internetMessageId, "<>"))
                                    : std::string(graphId);
  const std::string text = message.uniqueBody ? *message.uniqueBody : message.body.value_or("");
  return "Message-ID: <" + headerLine(messageId) +
         ">\nDate: " + headerLine(message.receivedDateTime.value_or("")) +
         "\nFrom: " + headerLine(senderLine(message.from)) +
         "\nSubject: " + headerLine(message.subject.value_or("(no subject)")) +
         "\nMIME-Version: 1.0\nContent-Type: text/plain; charset=UTF-8\n\n" +
         withLineFeeds(withoutTags(text));
}

std::string replyComment(std::string_view text) {
  std::string html = "<div style=\"font-family: sans-serif;\">";
  for (const char c : escapedHtml(withLineFeeds(std::string(text)))) {
    c == '\n' ? html.append("<br>") : html.append(1, c);
  }
  return html + "</div>";
}

}  // namespace halcyra

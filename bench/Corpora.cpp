#include "bench/Corpora.h"

#include <cstdio>
#include <random>
#include <string_view>

#include "text/Base64.h"

namespace halcyra::bench {
namespace {

constexpr std::string_view words[] = {
    "the",     "invoice", "for",     "your",    "order",  "meeting", "next",  "week",   "please",
    "printer", "answer",  "harbour", "letter",  "we",     "have",    "seen",  "that",   "and",
    "ship",    "paper",   "until",   "Tuesday", "thanks", "account", "login", "broken", "weather",
    "naïve",   "Grüße",   "café",    "œuvre",   "to",     "of",      "in",    "a",      "is"};

/// Texts from a generator that gives the same numbers everywhere.
class Writer {
 public:
  explicit Writer(unsigned seed) : random_(seed) {}

  std::size_t number(std::size_t from, std::size_t to) {
    return from + random_() % (to - from + 1);
  }

  std::string sentence() {
    std::string text;
    for (std::size_t i = number(6, 14); i > 0; --i) {
      text += std::string(words[random_() % std::size(words)]) + (i > 1 ? " " : ".");
    }
    return text;
  }

  std::string paragraphs(std::size_t size) {
    std::string text;
    while (text.size() < size) {
      text += sentence() + "\r\n";
      if (number(0, 5) == 0) text += "\r\n";
      if (number(0, 9) == 0) text += "> " + sentence() + "\r\n";
    }
    return text;
  }

  std::string bytes(std::size_t size) {
    std::string text(size, '\0');
    for (char& c : text) c = static_cast<char>(random_());
    return text;
  }

 private:
  std::mt19937 random_;
};

std::string quotedPrintable(std::string_view text) {
  std::string out;
  std::size_t column = 0;
  for (const char c : text) {
    if (c == '\r' || c == '\n') {
      out += c;
      column = 0;
      continue;
    }
    if (column > 70) {
      out += "=\r\n";
      column = 0;
    }
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x80 || c == '=') {
      char coded[4];
      std::snprintf(coded, sizeof coded, "=%02X", byte);
      out += coded;
      column += 3;
    } else {
      out += c;
      ++column;
    }
  }
  return out;
}

std::string base64Lines(std::string_view bytes) {
  const std::string coded = encodeBase64(bytes);
  std::string out;
  for (std::size_t at = 0; at < coded.size(); at += 76) out += coded.substr(at, 76) + "\r\n";
  return out;
}

std::string headers(Writer& writer, std::size_t number) {
  std::string text;
  for (int hop = 0; hop < 4; ++hop) {
    text += "Received: from relay" + std::to_string(hop) + ".example.net by mx.example.org\r\n" +
            "\twith ESMTPS id " + std::to_string(writer.number(100'000, 999'999)) +
            "; Thu, 5 Mar 2026 10:0" + std::to_string(hop) + ":00 +0000\r\n";
  }
  return text + "From: =?utf-8?B?SsO8cmdlbg==?= <juergen@example.net>\r\n" +
         "To: robin@example.org\r\nSubject: =?utf-8?Q?Caf=C3=A9?= " + writer.sentence() +
         "\r\nDate: Thu, 5 Mar 2026 10:00:00 +0000\r\nMessage-ID: <" + std::to_string(number) +
         "@example.net>\r\nMIME-Version: 1.0\r\n";
}

std::string part(std::string_view type, std::string_view encoding, const std::string& body) {
  return "Content-Type: " + std::string(type) +
         "\r\nContent-Transfer-Encoding: " + std::string(encoding) + "\r\n\r\n" + body;
}

std::string multipart(std::string_view kind, const std::vector<std::string>& parts) {
  std::string text =
      "Content-Type: multipart/" + std::string(kind) + "; boundary=\"=_b0und\"\r\n\r\n";
  for (const std::string& each : parts) text += "--=_b0und\r\n" + each + "\r\n";
  return text + "--=_b0und--\r\n";
}

constexpr std::string_view plain = "text/plain; charset=utf-8";
constexpr std::string_view html = "text/html; charset=utf-8";

std::string smallHtml(const std::string& text) {
  return "<html><body><p>" + text + "</p></body></html>";
}

std::string newsletter(Writer& writer, std::size_t size) {
  std::string page = "<!DOCTYPE html><html><head><title>News</title><style type=\"text/css\">\r\n";
  for (int rule = 0; rule < 60; ++rule) {
    page += ".c" + std::to_string(rule) +
            " { font-family: Arial, sans-serif; padding: 4px 12px; color: #334455 }\r\n";
  }
  page += "</style></head><body>\r\n<!-- preheader -->\r\n";
  for (int row = 0; page.size() < size; ++row) {
    page +=
        "<table width=\"100%\" cellpadding=\"0\" cellspacing=\"0\" role=\"presentation\"><tr>"
        "<td class=\"c" +
        std::to_string(row % 60) +
        "\" style=\"padding:0 12px;line-height:1.4\">\r\n<a href="
        "\"https://news.example.net/c/" +
        std::to_string(row) + "?u=9f8e7d&amp;m=42\"><img src=\"https://img.example.net/" +
        std::to_string(row) + ".png\" alt=\"\" width=\"240\"></a>\r\n<h2>" + writer.sentence() +
        "</h2>\r\n<p>" + writer.sentence() + "&nbsp;" + writer.sentence() + " &mdash; " +
        writer.sentence() + "<br>\r\n" + writer.sentence() + "</p></td></tr></table>\r\n";
  }
  return page + "</body></html>\r\n";
}

}  // namespace

std::size_t Corpus::bytes() const {
  std::size_t sum = 0;
  for (const std::string& message : messages) sum += message.size();
  return sum;
}

Corpus smallMail() {
  Corpus corpus{"small", {}};
  Writer writer(1);
  for (std::size_t i = 0; i < 600; ++i) {
    constexpr std::size_t longest[] = {18'000, 16'000, 13'500, 6'500};  // coded at most 20 KB
    const std::string text = writer.paragraphs(writer.number(700, longest[i % 4]));
    std::string body;
    if (i % 4 == 0) body = part(plain, "8bit", text);
    if (i % 4 == 1) body = part(plain, "quoted-printable", quotedPrintable(text));
    if (i % 4 == 2) body = part(plain, "base64", base64Lines(text));
    if (i % 4 == 3) {
      body = multipart("alternative",
                       {part(plain, "quoted-printable", quotedPrintable(text)),
                        part(html, "quoted-printable", quotedPrintable(smallHtml(text)))});
    }
    corpus.messages.push_back(headers(writer, i) + body);
  }
  return corpus;
}

Corpus htmlMail() {
  Corpus corpus{"html", {}};
  Writer writer(2);
  for (std::size_t i = 0; i < 40; ++i) {
    const std::string page = newsletter(writer, writer.number(50'000, 360'000));
    const std::string body = i % 2 == 0 ? part(html, "quoted-printable", quotedPrintable(page))
                                        : part(html, "base64", base64Lines(page));
    corpus.messages.push_back(headers(writer, i) + body);
  }
  return corpus;
}

Corpus newsletters() {
  Corpus corpus{"pages", {}};
  Writer writer(4);
  for (std::size_t i = 0; i < 40; ++i) {
    corpus.messages.push_back(newsletter(writer, writer.number(50'000, 360'000)));
  }
  return corpus;
}

Corpus attachmentMail() {
  Corpus corpus{"attachments", {}};
  Writer writer(3);
  for (std::size_t i = 0; i < 8; ++i) {
    const std::size_t size = 750'000 + i * i * 280'000;  // coded 1 to 20 MB
    corpus.messages.push_back(
        headers(writer, i) + multipart("mixed", {part(plain, "8bit", writer.paragraphs(2'000)),
                                                 part("application/pdf; name=\"scan.pdf\"",
                                                      "base64", base64Lines(writer.bytes(size)))}));
  }
  return corpus;
}

}  // namespace halcyra::bench

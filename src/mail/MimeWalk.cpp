#include "mail/MimeWalk.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <optional>
#include <utility>

#include "mail/ContentType.h"
#include "mail/Headers.h"
#include "mail/HtmlToPlainText.h"
#include "mail/PartCursor.h"
#include "mail/TransferDecoding.h"
#include "text/Graphemes.h"
#include "text/Scan.h"
#include "text/Trim.h"

namespace halcyra {
namespace {

// What a part can contribute to the multipart around it.
enum class Kind { plain, html, multipart, unseen };

// A plain text of at most as many characters may only point to a browser version.
constexpr std::size_t longestPointer = 99;

// A trimmed text and, once somebody asked, what is known of its length: a text that is passed up
// through many levels is counted once. Small while it is empty, since there may be many levels.
class Found {
 public:
  Found() = default;
  explicit Found(std::string text)
      : found_(text.empty() ? nullptr : std::make_unique<Text>(Text{std::move(text), {}, {}})) {}

  bool empty() const { return !found_; }
  std::string take() { return found_ ? std::move(found_->text) : ""; }
  std::size_t characters() {
    if (empty()) return 0;
    if (!found_->characters) found_->characters = graphemeCount(found_->text);
    return *found_->characters;
  }
  bool isPointer() {
    if (empty()) return true;
    if (!found_->isPointer) {
      found_->isPointer = !hasMoreGraphemesThan(found_->text, longestPointer);
    }
    return *found_->isPointer;
  }
  bool isLongerThan(std::size_t limit) const {
    return !empty() && hasMoreGraphemesThan(found_->text, limit);
  }

 private:
  struct Text {
    std::string text;
    std::optional<std::size_t> characters;
    std::optional<bool> isPointer;
  };

  std::unique_ptr<Text> found_;
};

// A multipart whose parts are being walked.
struct Level {
  PartCursor parts;
  Found plain = {};
  Found html = {};
};

Kind kindOf(const ContentType& type) {
  if (type.mainType.starts_with("text/plain") || type.mainType.empty()) return Kind::plain;
  if (type.isHtml()) return Kind::html;
  return type.isMultipart() ? Kind::multipart : Kind::unseen;
}

void keepLonger(Found& slot, Found candidate) {
  if (slot.empty() || candidate.characters() > slot.characters()) slot = std::move(candidate);
}

void keep(Level& level, Kind kind, Found found) {
  if (found.empty()) return;
  if (kind == Kind::html) keepLonger(level.html, std::move(found));
  if (kind == Kind::multipart) keepLonger(level.plain, std::move(found));
  if (kind == Kind::plain && level.plain.empty()) level.plain = std::move(found);
}

// A short text that only points to a browser version loses against a full HTML mail.
bool isPointerTo(Found& plain, const Found& html) {
  constexpr std::size_t shortestMail = 500, ratio = 8;
  return plain.isPointer() && html.isLongerThan(std::max(shortestMail, ratio * plain.characters()));
}

// Whether the text of such a part can still make a difference.
bool counts(Level& level, Kind kind) {
  if (kind == Kind::plain) return level.plain.empty();
  // A plain text that is no pointer is given up for a longer one only.
  return kind == Kind::multipart || (kind == Kind::html && level.plain.isPointer());
}

Found chosen(Level& level) {
  if (!level.plain.empty()) {
    return std::move(isPointerTo(level.plain, level.html) ? level.html : level.plain);
  }
  if (!level.html.empty()) return std::move(level.html);
  return Found(std::string(trimmed(level.parts.preamble())));
}

std::string leafText(std::string_view headers, std::string_view body, const ContentType& type) {
  std::string text = decodeTransfer(body, transferEncoding(headers), type.charset);
  if (type.isHtml()) return htmlToPlainText(std::move(text));
  trim(text);
  return text;
}

bool opensLevel(const ContentType& type) {
  return type.isMultipart() && !type.boundary.empty();
}

ContentType messageType(std::string_view headers) {
  return contentType(headers, "text/plain; charset=utf-8");
}

// Multiparts are a stack of levels, not a recursion. Parts are views into the message, met in the
// order in which they stand there.
class Walk {
 public:
  explicit Walk(std::string_view message)
      : message_(message),
        indexes_(message),
        newlines_(message, "\r\n"),
        networkBlankLines_(message, "\r\n\r\n"),
        blankLines_(message, "\n\n") {}

  std::string run(std::string_view headers, const ContentType& type) {
    if (!opensLevel(type)) return leafText(headers, message_, type);
    enter(message_, type.boundary);
    for (;;) {
      if (const std::optional<std::string_view> part = levels_.back().parts.next()) {
        visit(*part);
        continue;
      }
      Found result = chosen(levels_.back());
      levels_.pop_back();
      if (levels_.empty()) return result.take();
      keep(levels_.back(), Kind::multipart, std::move(result));
    }
  }

 private:
  void enter(std::string_view body, const std::string& boundary) {
    // Each level that searches reads all that stands below it once more.
    constexpr std::size_t searchingLevels = 16;
    const bool crlf = holds(newlines_, body, 2);
    const bool looksUp = levels_.size() >= searchingLevels && indexes_.possible();
    levels_.push_back(
        {PartCursor(body, boundary, crlf ? "\r\n" : "\n", looksUp ? &indexes_ : nullptr)});
  }

  void visit(std::string_view part) {
    const HeaderSplit split = splitPart(part);
    if (split.headers.empty() && trimmed(split.body).empty()) return;
    const ContentType type = contentType(split.headers);
    if (opensLevel(type)) return enter(split.body, type.boundary);
    Level& level = levels_.back();
    const Kind kind = kindOf(type);
    if (counts(level, kind)) keep(level, kind, Found(leafText(split.headers, split.body, type)));
  }

  std::size_t placeOf(std::string_view part) const {
    return static_cast<std::size_t>(part.data() - message_.data());
  }

  // Whether the first find behind the part's start, of `size` bytes, lies inside it.
  bool holds(ForwardFinder& finder, std::string_view part, std::size_t size) {
    const std::size_t found = finder.from(placeOf(part));
    return found != message_.npos && found + size <= placeOf(part) + part.size();
  }

  // splitHeaders, without reading on to a blank line far behind the part.
  HeaderSplit splitPart(std::string_view part) {
    const std::size_t start = placeOf(part);
    const auto cut = [&](ForwardFinder& finder, std::size_t size) {
      const std::size_t end = finder.from(start) - start;
      return HeaderSplit{part.substr(0, end), part.substr(end + size)};
    };
    if (holds(networkBlankLines_, part, 4)) return cut(networkBlankLines_, 4);
    if (holds(blankLines_, part, 2)) return cut(blankLines_, 2);
    return {{}, part};
  }

  std::string_view message_;
  DelimiterIndexes indexes_;
  ForwardFinder newlines_;
  ForwardFinder networkBlankLines_;
  ForwardFinder blankLines_;
  std::deque<Level> levels_;
};

}  // namespace

std::string walkMIME(std::string_view headers, std::string_view body) {
  return Walk(body).run(headers, messageType(headers));
}

bool isPlainAsItStands(std::string_view headers, std::string_view body) {
  const ContentType type = messageType(headers);
  return !opensLevel(type) && !type.isHtml() && !isEncoded(body, transferEncoding(headers));
}

}  // namespace halcyra

#include "mail/DecodeHTMLEntities.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>

#include "text/Case.h"
#include "text/Hex.h"
#include "text/RegexClasses.h"
#include "text/Scan.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

struct Entity {
  std::string_view name;
  std::string_view character;
};

// Names that count in exactly this case, else lower-cased. Sorted by name.
constexpr Entity namedCharacters[] = {
    {"AElig", "Æ"},  {"Aacute", "Á"}, {"Acirc", "Â"},  {"Agrave", "À"}, {"Aring", "Å"},
    {"Atilde", "Ã"}, {"Auml", "Ä"},   {"Ccedil", "Ç"}, {"ETH", "Ð"},    {"Eacute", "É"},
    {"Ecirc", "Ê"},  {"Egrave", "È"}, {"Euml", "Ë"},   {"Iacute", "Í"}, {"Icirc", "Î"},
    {"Igrave", "Ì"}, {"Iuml", "Ï"},   {"Ntilde", "Ñ"}, {"OElig", "Œ"},  {"Oacute", "Ó"},
    {"Ocirc", "Ô"},  {"Ograve", "Ò"}, {"Oslash", "Ø"}, {"Otilde", "Õ"}, {"Ouml", "Ö"},
    {"THORN", "Þ"},  {"Uacute", "Ú"}, {"Ucirc", "Û"},  {"Ugrave", "Ù"}, {"Uuml", "Ü"},
    {"Yacute", "Ý"}, {"Yuml", "Ÿ"},   {"aacute", "á"}, {"acirc", "â"},  {"aelig", "æ"},
    {"agrave", "à"}, {"aring", "å"},  {"atilde", "ã"}, {"auml", "ä"},   {"bull", "•"},
    {"ccedil", "ç"}, {"copy", "©"},   {"deg", "°"},    {"eacute", "é"}, {"ecirc", "ê"},
    {"egrave", "è"}, {"eth", "ð"},    {"euml", "ë"},   {"euro", "€"},   {"frac12", "½"},
    {"frac14", "¼"}, {"frac34", "¾"}, {"hellip", "…"}, {"iacute", "í"}, {"icirc", "î"},
    {"igrave", "ì"}, {"iuml", "ï"},   {"laquo", "«"},  {"mdash", "—"},  {"micro", "µ"},
    {"middot", "·"}, {"ndash", "–"},  {"ntilde", "ñ"}, {"oacute", "ó"}, {"ocirc", "ô"},
    {"oelig", "œ"},  {"ograve", "ò"}, {"ordf", "ª"},   {"ordm", "º"},   {"oslash", "ø"},
    {"otilde", "õ"}, {"ouml", "ö"},   {"para", "¶"},   {"pound", "£"},  {"raquo", "»"},
    {"reg", "®"},    {"sect", "§"},   {"sup1", "¹"},   {"sup2", "²"},   {"sup3", "³"},
    {"szlig", "ß"},  {"thorn", "þ"},  {"trade", "™"},  {"uacute", "ú"}, {"ucirc", "û"},
    {"ugrave", "ù"}, {"uuml", "ü"},   {"yacute", "ý"}, {"yuml", "ÿ"}};

// Replaced in any case, each in turn. Their results neither hold nor complete a reference, so one
// pass for all gives the same; "&amp;" included, as its "&" is not read again.
constexpr Entity literals[] = {
    {"nbsp;", " "},  {"lt;", "<"},     {"gt;", ">"},    {"quot;", "\""},  {"apos;", "'"},
    {"ndash;", "–"}, {"mdash;", "—"},  {"bull;", "•"},  {"middot;", "·"}, {"copy;", "©"},
    {"reg;", "®"},   {"trade;", "™"},  {"euro;", "€"},  {"pound;", "£"},  {"lsquo;", "‘"},
    {"rsquo;", "’"}, {"ldquo;", "“"},  {"rdquo;", "”"}, {"hellip;", "…"}, {"emsp;", " "},
    {"ensp;", " "},  {"thinsp;", " "}, {"amp;", "&"}};

// A literal too: the numbers leave it of "&#38;#160;".
constexpr std::string_view noBreakSpace = "#160;";

struct Number {
  std::uint32_t value = 0;
  std::size_t end = 0;
};

// 1 to 8 digits of the base at `position`
std::optional<Number> digitsAt(std::string_view text, std::size_t position, int base) {
  Number number{0, position};
  while (number.end < text.size() && number.end - position < 8) {
    const int digit = hexValue(text[number.end]);
    if (digit < 0 || digit >= base) break;
    number.value =
        number.value * static_cast<std::uint32_t>(base) + static_cast<std::uint32_t>(digit);
    ++number.end;
  }
  if (number.end == position) return std::nullopt;
  return number;
}

bool isCharacter(std::uint32_t value) {
  if (value < 32) return value == 9 || value == 10 || value == 13;
  const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
  return value <= 0x10FFFF && !surrogate && value != 0xFFFE && value != 0xFFFF;
}

// &#(x[0-9a-fA-F]{1,8}|[0-9]{1,8});?
std::optional<Number> numericReferenceAt(std::string_view text, std::size_t begin) {
  if (!text.substr(begin).starts_with("&#")) return std::nullopt;
  const bool hexadecimal = text.substr(begin + 2).starts_with('x');
  std::optional<Number> number =
      digitsAt(text, begin + (hexadecimal ? 3 : 2), hexadecimal ? 16 : 10);
  if (number && text.substr(number->end).starts_with(';')) ++number->end;
  return number;
}

void decodeNumbers(std::string& text) {
  char32_t character = 0;
  const auto next = [&character](std::string_view view, std::size_t from) {
    return nextStartingWith(view, '&', from, [&](std::size_t begin) {
      const std::optional<Number> number = numericReferenceAt(view, begin);
      if (!number || !isCharacter(number->value)) return view.npos;
      character = number->value;
      return number->end;
    });
  };
  rewriteMatches(text, next, [&character](std::string_view) {
    std::string utf8;
    appendUtf8(utf8, character);
    return utf8;
  });
}

std::string_view namedCharacter(std::string_view name) {
  const auto found = std::ranges::lower_bound(namedCharacters, name, {}, &Entity::name);
  return found != std::end(namedCharacters) && found->name == name ? found->character
                                                                   : std::string_view{};
}

// &([a-zA-Z][a-zA-Z0-9]{1,31}); with a name of the table
std::optional<Entity> namedReferenceAt(std::string_view text, std::size_t begin) {
  constexpr std::size_t longestName = 32;
  const std::string_view rest = text.substr(begin + 1, longestName + 1);
  const std::string_view name = rest.substr(0, rest.find(';'));
  if (name.size() == rest.size()) return std::nullopt;
  std::string_view character = namedCharacter(name);
  if (character.empty()) character = namedCharacter(asciiLowercased(name));
  if (character.empty()) return std::nullopt;
  return Entity{name, character};
}

// Keeps a run of "&" cheap.
bool mayBeginName(std::string_view rest) {
  return !rest.empty() && asciiLower(rest.front()) >= 'a' && asciiLower(rest.front()) <= 'z';
}

// The end of a literal at `begin`, a "&", or npos. None begins with an s, so no character beyond
// ASCII folds to a first letter, and most literals are passed over by looking at that alone.
std::size_t literalEnd(std::string_view text, std::size_t begin, const Entity& literal) {
  if (asciiLower(text[begin + 1]) != literal.name.front()) return text.npos;
  return foldedMatchEnd(text, begin + 1, literal.name);
}

void decodeNames(std::string& text) {
  std::string_view character;
  const auto next = [&character](std::string_view view, std::size_t from) {
    return nextStartingWith(view, '&', from, [&](std::size_t begin) {
      const std::string_view rest = view.substr(begin + 1);
      if (rest.starts_with(noBreakSpace)) {
        character = " ";
        return begin + 1 + noBreakSpace.size();
      }
      if (!mayBeginName(rest)) return view.npos;
      if (const std::optional<Entity> named = namedReferenceAt(view, begin)) {
        character = named->character;
        return begin + 1 + named->name.size() + 1;
      }
      for (const Entity& literal : literals) {
        const std::size_t end = literalEnd(view, begin, literal);
        if (end == view.npos) continue;
        character = literal.character;
        return end;
      }
      return view.npos;
    });
  };
  rewriteMatches(text, next, [&character](std::string_view) { return character; });
}

}  // namespace

std::string decodeHTMLEntities(std::string text) {
  decodeNumbers(text);
  decodeNames(text);
  return text;
}

}  // namespace halcyra

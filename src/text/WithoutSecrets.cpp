#include "text/WithoutSecrets.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "text/Base64.h"
#include "text/Hex.h"
#include "text/Scan.h"

namespace halcyra {
namespace {

constexpr int deepestEscaping = 3;

/// A text as one finds it below a number of escapings.
struct View {
  std::string text;
  /// Where each byte of it, and its end, begin in the source; empty for the source itself.
  std::vector<std::uint32_t> begins = {};

  std::size_t sourceOf(std::size_t at) const { return begins.empty() ? at : begins[at]; }
};

/// A byte that is written as several.
struct Escape {
  char byte;
  std::size_t length;
};

// All secrets that travel in a header or a form are ASCII.
std::optional<Escape> asciiEscape(std::string_view digits, int base, std::size_t length) {
  unsigned value = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), value, base);
  if (error != std::errc() || end != digits.data() + digits.size() || value > 0x7F) {
    return std::nullopt;
  }
  return Escape{static_cast<char>(value), length};
}

// "\u002B" and "\/" of JSON (RFC 8259, section 7), "\x2B" of scripts.
std::optional<Escape> backslashEscape(std::string_view rest) {
  if (rest.size() < 2) return std::nullopt;
  if (rest[1] == 'u' && rest.size() >= 6) return asciiEscape(rest.substr(2, 4), 16, 6);
  if (rest[1] == 'x' && rest.size() >= 4) return asciiEscape(rest.substr(2, 2), 16, 4);
  if (rest[1] == '/' || rest[1] == '\\' || rest[1] == '"') return Escape{rest[1], 2};
  return std::nullopt;
}

std::optional<Escape> percentEscape(std::string_view rest) {
  if (rest.size() < 3 || hexValue(rest[1]) < 0 || hexValue(rest[2]) < 0) return std::nullopt;
  return Escape{static_cast<char>(hexValue(rest[1]) * 16 + hexValue(rest[2])), 3};
}

std::optional<Escape> htmlEscape(std::string_view rest) {
  constexpr std::size_t longest = 10;
  constexpr std::array<std::pair<std::string_view, char>, 8> names = {{{"amp", '&'},
                                                                       {"lt", '<'},
                                                                       {"gt", '>'},
                                                                       {"quot", '"'},
                                                                       {"apos", '\''},
                                                                       {"plus", '+'},
                                                                       {"sol", '/'},
                                                                       {"equals", '='}}};
  const std::size_t end = rest.substr(0, longest).find(';');
  if (end == rest.npos || end < 2) return std::nullopt;
  const std::string_view name = rest.substr(1, end - 1);
  if (name.starts_with("#x") || name.starts_with("#X")) {
    return asciiEscape(name.substr(2), 16, end + 1);
  }
  if (name.starts_with('#')) return asciiEscape(name.substr(1), 10, end + 1);
  for (const auto& [known, byte] : names) {
    if (name == known) return Escape{byte, end + 1};
  }
  return std::nullopt;
}

std::optional<Escape> escapeAt(std::string_view rest) {
  if (rest.front() == '\\') return backslashEscape(rest);
  if (rest.front() == '%') return percentEscape(rest);
  if (rest.front() == '&') return htmlEscape(rest);
  return std::nullopt;
}

// One layer of escapes taken away, or nothing when there is none.
std::optional<View> unescaped(const View& view) {
  if (view.text.find_first_of("\\%&") == std::string::npos) return std::nullopt;
  View plain;
  const std::string_view text = view.text;
  for (std::size_t at = 0; at < text.size();) {
    const Escape found = escapeAt(text.substr(at)).value_or(Escape{text[at], 1});
    plain.begins.push_back(static_cast<std::uint32_t>(view.sourceOf(at)));
    plain.text += found.byte;
    at += found.length;
  }
  plain.begins.push_back(static_cast<std::uint32_t>(view.sourceOf(text.size())));
  if (plain.text.size() == text.size()) return std::nullopt;
  return plain;
}

// A form may hold either for a blank.
std::string plusAsBlank(std::string text) {
  std::replace(text.begin(), text.end(), '+', ' ');
  return text;
}

// The digits that all base64 texts have in common whose bytes hold the secret `shift` bytes behind
// a group's begin, in the alphabet of RFC 4648, section 4.
std::string base64Core(const std::string& secret, std::size_t shift) {
  const std::size_t begin = (shift * 8 + 5) / 6;
  const std::size_t end = (shift + secret.size()) * 8 / 6;
  return encodeBase64(std::string(shift, '\0') + secret).substr(begin, end - begin);
}

std::vector<std::string> spellings(std::span<const std::string> secrets) {
  constexpr std::size_t shortestInBase64 = 8;  // less is found anywhere
  std::vector<std::string> all;
  for (const std::string& secret : secrets) {
    if (secret.empty()) continue;
    all.push_back(plusAsBlank(secret));
    if (secret.size() < shortestInBase64) continue;
    for (std::size_t shift = 0; shift < 3; ++shift) {
      std::string core = base64Core(secret, shift);
      all.push_back(plusAsBlank(core));
      std::replace(core.begin(), core.end(), '+', '-');
      std::replace(core.begin(), core.end(), '/', '_');
      all.push_back(std::move(core));
    }
  }
  std::ranges::sort(all);
  all.erase(std::unique(all.begin(), all.end()), all.end());
  return all;
}

void findAll(const View& view, const std::string& secret, std::vector<Match>& found) {
  for (std::size_t at = 0; (at = findText(view.text, secret, at)) != std::string::npos;
       at += secret.size()) {
    found.push_back({view.sourceOf(at), view.sourceOf(at + secret.size())});
  }
}

std::string masked(const std::string& text, std::vector<Match> found) {
  std::ranges::sort(found, {}, &Match::begin);
  std::string result;
  std::size_t from = 0;
  for (std::size_t index = 0; index < found.size();) {
    const std::size_t begin = found[index].begin;
    result.append(text, from, begin - from).append("***");
    for (from = found[index].end; index < found.size() && found[index].begin < from; ++index) {
      from = std::max(from, found[index].end);
    }
  }
  return result.append(text, from);
}

}  // namespace

std::string withoutSecrets(std::string text, std::span<const std::string> secrets) {
  const std::vector<std::string> sought = spellings(secrets);
  if (sought.empty()) return text;
  std::vector<Match> found;
  std::optional<View> view = View{text};
  for (int layer = 0; view && layer <= deepestEscaping; ++layer) {
    std::optional<View> below = layer < deepestEscaping ? unescaped(*view) : std::nullopt;
    view->text = plusAsBlank(std::move(view->text));
    for (const std::string& secret : sought) findAll(*view, secret, found);
    view = std::move(below);
  }
  if (found.empty()) return text;
  return masked(text, std::move(found));
}

}  // namespace halcyra

#include "sandbox/Words.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "text/Case.h"
#include "text/Utf8.h"

namespace halcyra::sandbox {
namespace {

using Words = std::set<std::string, std::less<>>;

const Words& smallWords(Language language) {
  static const Words english = {
      "a",    "about", "all",   "an",   "and",  "any",    "are",   "as",    "at",   "be",
      "been", "by",    "can",   "do",   "for",  "from",   "had",   "has",   "have", "he",
      "her",  "his",   "i",     "if",   "in",   "into",   "is",    "it",    "its",  "me",
      "my",   "no",    "not",   "of",   "on",   "or",     "our",   "she",   "so",   "some",
      "that", "the",   "their", "them", "then", "there",  "they",  "this",  "to",   "us",
      "was",  "we",    "were",  "what", "when", "which",  "who",   "will",  "with", "would",
      "you",  "your",  "hello", "hi",   "dear", "please", "thank", "thanks"};
  static const Words french = {
      "au",   "aux",   "avec", "bonjour", "ce",   "ces",   "cet",   "cette", "cordialement",
      "dans", "de",    "des",  "du",      "elle", "en",    "est",   "et",    "il",
      "je",   "la",    "le",   "les",     "ma",   "merci", "mes",   "mon",   "ne",
      "nos",  "notre", "nous", "ou",      "par",  "pas",   "pour",  "que",   "qui",
      "se",   "si",    "sur",  "un",      "une",  "vos",   "votre", "vous"};
  static const Words german = {
      "aber",   "als",   "am",    "auch",  "auf",  "aus", "bei",  "bitte", "danke", "das",
      "dass",   "dem",   "den",   "der",   "die",  "ein", "eine", "einen", "er",    "es",
      "für",    "grüße", "hallo", "haben", "ich",  "ihr", "ihre", "ihnen", "im",    "ist",
      "mit",    "nach",  "nicht", "oder",  "sehr", "sie", "sind", "um",    "und",   "uns",
      "unsere", "vom",   "von",   "wir",   "zu",   "zum", "zur"};
  switch (language) {
    case Language::french:
      return french;
    case Language::german:
      return german;
    case Language::english:
      break;
  }
  return english;
}

// Words that criteria and mails are made of without saying what a mail is about.
const Words& emptyWords() {
  static const Words words = {"apply", "email", "mail",    "message", "rule",    "subject",
                              "use",   "date",  "mailbox", "sender",  "clearly", "else"};
  return words;
}

struct Meaning {
  std::string_view prefix;
  std::string_view word;
};

constexpr Meaning meanings[] = {
    {"factur", "invoice"},
    {"rechnung", "invoice"},
    {"billing", "invoice"},
    {"paiement", "payment"},
    {"zahlung", "payment"},
    {"devis", "quote"},
    {"angebot", "quote"},
    {"quotation", "quote"},
    {"prix", "price"},
    {"tarif", "price"},
    {"preis", "price"},
    {"pricing", "price"},
    {"rendez", "meeting"},
    {"réunion", "meeting"},
    {"termin", "meeting"},
    {"besprechung", "meeting"},
    {"appointment", "meeting"},
    {"problem", "problem"},
    {"problèm", "problem"},
    {"panne", "problem"},
    {"erreur", "problem"},
    {"fehler", "problem"},
    {"störung", "problem"},
    {"crash", "problem"},
    {"error", "problem"},
    {"broken", "problem"},
    {"aide", "help"},
    {"hilfe", "help"},
    {"support", "help"},
    {"assist", "help"},
    {"command", "order"},
    {"bestell", "order"},
    {"livraison", "delivery"},
    {"lieferung", "delivery"},
    {"candidat", "application"},
    {"bewerbung", "application"},
    {"kauf", "buy"},
    {"achat", "buy"},
    {"acheter", "buy"},
    {"purchas", "buy"},
    {"vente", "sales"},
    {"vertrieb", "sales"},
};

std::vector<std::string> wordsOf(std::string_view text) {
  const std::string lower = lowercased(text);
  std::vector<std::string> words;
  std::string word;
  for (std::size_t position = 0; position < lower.size();) {
    const char32_t c = nextCodePoint(lower, position);
    if (u_isalnum(static_cast<UChar32>(c))) {
      appendUtf8(word, c);
    } else if (!word.empty()) {
      words.push_back(std::exchange(word, {}));
    }
  }
  if (!word.empty()) words.push_back(std::move(word));
  return words;
}

std::string stemOf(std::string word) {
  for (const Meaning& meaning : meanings) {
    if (word.starts_with(meaning.prefix)) word = meaning.word;
  }
  constexpr std::array<std::string_view, 6> endings = {"ing", "ies", "es", "ed", "s", "e"};
  for (const std::string_view ending : endings) {
    if (word.size() >= ending.size() + 3 && word.ends_with(ending)) {
      word.resize(word.size() - ending.size());
      break;
    }
  }
  return word;
}

bool isSmall(const std::string& word) {
  return word.size() < 3 || emptyWords().contains(word) ||
         smallWords(Language::english).contains(word) ||
         smallWords(Language::french).contains(word) || smallWords(Language::german).contains(word);
}

}  // namespace

Language guessedLanguage(std::string_view text) {
  const std::vector<std::string> words = wordsOf(text);
  Language best = Language::english;
  std::ptrdiff_t most = 0;
  for (const Language language : {Language::english, Language::french, Language::german}) {
    const Words& known = smallWords(language);
    const auto count = std::count_if(words.begin(), words.end(),
                                     [&](const std::string& word) { return known.contains(word); });
    if (count > most) {
      best = language;
      most = count;
    }
  }
  return best;
}

std::set<std::string> meaningfulStems(std::string_view text) {
  std::set<std::string> stems;
  for (std::string& word : wordsOf(text)) {
    if (!isSmall(word)) stems.insert(stemOf(std::move(word)));
  }
  return stems;
}

}  // namespace halcyra::sandbox

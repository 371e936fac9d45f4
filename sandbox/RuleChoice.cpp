#include "sandbox/RuleChoice.h"

#include <algorithm>
#include <cmath>

#include "sandbox/Words.h"

namespace halcyra::sandbox {
namespace {

// A word of the subject counts twice; a single hit in the text may be chance.
constexpr double leastClearHit = 2;

struct MailStems {
  std::set<std::string> subject;
  std::set<std::string> all;
};

double hitsOf(const std::set<std::string>& wanted, const MailStems& mail) {
  double hits = 0;
  for (const std::string& stem : wanted) {
    if (mail.all.contains(stem)) hits += 1;
    if (mail.subject.contains(stem)) hits += 1;
  }
  return hits;
}

}  // namespace

RuleChoice chosenRule(const std::vector<OfferedRule>& rules, const AskedMail& mail) {
  const MailStems stems{meaningfulStems(mail.subject), meaningfulStems(mail.text)};
  RuleChoice choice;
  double best = 0;
  double second = 0;
  for (std::size_t index = 0; index < rules.size(); ++index) {
    const OfferedRule& rule = rules[index];
    const std::set<std::string> wanted = meaningfulStems(rule.name + " " + rule.criteria);
    const double hits = hitsOf(wanted, stems);
    if (rule.catchAll || hits < leastClearHit) continue;
    // Long criteria collect hits more easily.
    const double score = hits / std::sqrt(static_cast<double>(wanted.size()));
    if (score > best) {
      second = best;
      best = score;
      choice.index = index;
    } else {
      second = std::max(second, score);
    }
  }
  if (best > 0) {
    choice.confidence = std::round((0.55 + 0.4 * (best - second) / best) * 100) / 100;
    return choice;
  }
  const auto isCatchAll = [](const OfferedRule& rule) { return rule.catchAll; };
  const auto fallback = std::find_if(rules.begin(), rules.end(), isCatchAll);
  if (fallback == rules.end()) return {0, 0.2};
  return {static_cast<std::size_t>(fallback - rules.begin()), 0.6};
}

}  // namespace halcyra::sandbox

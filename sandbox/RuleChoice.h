#pragma once

#include <cstddef>
#include <vector>

#include "sandbox/PromptReader.h"

namespace halcyra::sandbox {

struct RuleChoice {
  std::size_t index = 0;
  /// From 0 to 1, higher the further the rule is ahead of the next one.
  double confidence = 0;
};

/// The rule whose name and criteria share most words with the mail; without a clear hit the
/// catch-all. `rules` must not be empty.
RuleChoice chosenRule(const std::vector<OfferedRule>& rules, const AskedMail& mail);

}  // namespace halcyra::sandbox

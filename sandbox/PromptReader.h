#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace halcyra::sandbox {

/// A rule as the system message tells it.
struct OfferedRule {
  std::string id;
  std::string name;
  std::string criteria;
  bool catchAll = false;
  /// The rule asks for a suggested reply.
  bool wantsReply = false;
};

/// The rules of a triage system message, in its order; none for any other text.
std::vector<OfferedRule> offeredRules(std::string_view systemMessage);

/// The mail inside the user message of a triage request.
struct AskedMail {
  std::string subject;
  std::string text;  // with its header lines
};
AskedMail askedMail(std::string_view userMessage);

}  // namespace halcyra::sandbox

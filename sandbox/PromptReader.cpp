#include "sandbox/PromptReader.h"

#include "text/Trim.h"

namespace halcyra::sandbox {
namespace {

constexpr std::string_view idMark = "- **rule_id**: `";
constexpr std::string_view nameMark = "  - **name**: ";
constexpr std::string_view criteriaMark = "  - **when to apply**: ";
constexpr std::string_view tagMark = "  - **mailbox tag** (after this rule runs)";
constexpr std::string_view instructionMark = "  - If you choose this rule, ";
constexpr std::string_view catchAllMark = " **(CATCH-ALL)**";

// The next line, which is removed from `text`.
std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

void readName(std::string_view name, OfferedRule& rule) {
  rule.catchAll = name.ends_with(catchAllMark);
  if (rule.catchAll) name.remove_suffix(catchAllMark.size());
  rule.name = name;
}

}  // namespace

std::vector<OfferedRule> offeredRules(std::string_view systemMessage) {
  std::vector<OfferedRule> rules;
  bool inCriteria = false;
  while (!systemMessage.empty()) {
    const std::string_view line = takeLine(systemMessage);
    if (line.starts_with(idMark) && line.ends_with('`')) {
      const std::string_view id = line.substr(idMark.size());
      rules.push_back({std::string(id.substr(0, id.size() - 1)), {}, {}, false, false});
      inCriteria = false;
    } else if (rules.empty()) {
      continue;
    } else if (line.starts_with(nameMark)) {
      readName(line.substr(nameMark.size()), rules.back());
    } else if (line.starts_with(criteriaMark)) {
      rules.back().criteria = line.substr(criteriaMark.size());
      inCriteria = true;
    } else if (line.starts_with(tagMark)) {
      inCriteria = false;
    } else if (line.starts_with(instructionMark)) {
      rules.back().wantsReply = line.find("helpful suggested reply") != std::string_view::npos;
      inCriteria = false;
    } else if (inCriteria) {
      rules.back().criteria.append("\n").append(line);
    }
  }
  return rules;
}

AskedMail askedMail(std::string_view userMessage) {
  constexpr std::string_view subjectMark = "Subject: ";
  const std::size_t preambleEnd = userMessage.find("\n\n");
  if (preambleEnd != std::string_view::npos) userMessage.remove_prefix(preambleEnd + 2);
  AskedMail mail;
  mail.text = userMessage;
  std::string_view rest = userMessage;
  const std::string_view first = takeLine(rest);
  if (first.starts_with(subjectMark)) mail.subject = trimmed(first.substr(subjectMark.size()));
  return mail;
}

}  // namespace halcyra::sandbox

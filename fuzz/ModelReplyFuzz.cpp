#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "classification/ClassificationReply.h"
#include "classification/LLMError.h"
#include "classification/LeadReply.h"
#include "text/Json.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace {

// Any reply gives the fields of a lead, or the one announced failure.
void readLead(std::string_view reply) {
  try {
    const halcyra::DynamicsLeadFields fields = halcyra::parseLeadReply(reply);
    const auto merged = halcyra::mergedLeadFields(fields, {});
    if (halcyra::mergedLeadFields(merged, fields) != merged) std::abort();
  } catch (const halcyra::LLMError&) {
  }
}

}  // namespace

// Any reply of a model gives a rule id or one of the three announced failures.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view reply(reinterpret_cast<const char*>(data), size);
  if (!halcyra::isValidUtf8(reply)) return 0;
  readLead(reply);
  try {
    const auto result = halcyra::parseClassificationReply(reply);
    if (result.ruleId.empty() || halcyra::trimmed(result.ruleId) != result.ruleId) std::abort();
  } catch (const halcyra::LLMError&) {
  } catch (const halcyra::LLMParseError&) {
  } catch (const halcyra::JsonError&) {
  }
  return 0;
}

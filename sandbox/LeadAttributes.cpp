#include "sandbox/LeadAttributes.h"

#include <algorithm>
#include <string_view>

#include "text/Scan.h"

namespace halcyra::sandbox {

std::optional<LeadFault> leadFault(const nlohmann::json& record,
                                   std::span<const LeadAttribute> attributes) {
  for (const auto& [key, value] : record.items()) {
    const auto known = std::ranges::find_if(
        attributes, [&](const LeadAttribute& each) { return key == each.name; });
    if (known == attributes.end()) return LeadFault{LeadFault::Kind::unknown, key};
    if (!value.is_string()) return LeadFault{LeadFault::Kind::wrongType, key};
    if (codePointCount(value.get_ref<const std::string&>()) > known->longest) {
      return LeadFault{LeadFault::Kind::tooLong, key, known->longest};
    }
  }
  return std::nullopt;
}

}  // namespace halcyra::sandbox

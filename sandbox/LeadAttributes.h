#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "text/Json.h"

namespace halcyra::sandbox {

/// A text attribute of a CRM's lead and the most characters that it takes.
struct LeadAttribute {
  const char* name;
  std::size_t longest;
};

/// What is wrong with a member of a record.
struct LeadFault {
  enum class Kind { unknown, wrongType, tooLong };
  Kind kind;
  std::string name;
  std::size_t longest = 0;
};

/// The first member of `record`, an object, that the attributes do not allow.
std::optional<LeadFault> leadFault(const nlohmann::json& record,
                                   std::span<const LeadAttribute> attributes);

}  // namespace halcyra::sandbox

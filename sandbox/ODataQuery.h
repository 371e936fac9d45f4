#pragma once

#include <optional>
#include <string>
#include <vector>

#include "text/InternetDate.h"
#include "text/PercentEncoding.h"

namespace halcyra::sandbox {

/// One comparison of a $filter.
struct ODataClause {
  std::string property;
  /// eq, ge, gt, le, lt
  std::string comparison;
  std::string value;
};

/// The query options of a list of messages.
struct ODataQuery {
  std::vector<ODataClause> filter;
  /// Property to order by; newest first where `descending`.
  std::string orderBy;
  bool descending = false;
  std::vector<std::string> select;
  std::size_t top = 10;

  bool filtersBy(std::string_view property) const;
  bool selects(std::string_view property) const;
};

/// Reads the options; nothing for one that is not known or cannot be read.
std::optional<ODataQuery> oDataQuery(const std::vector<QueryItem>& items);

/// Does a moment stand in this relation to the moment of the clause?
bool holds(const ODataClause& clause, InternetMoment moment);

}  // namespace halcyra::sandbox

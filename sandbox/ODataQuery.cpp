#include "sandbox/ODataQuery.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>

namespace halcyra::sandbox {
namespace {

std::vector<std::string> splitAt(const std::string& text, const std::string& separator) {
  std::vector<std::string> pieces;
  std::size_t from = 0;
  for (std::size_t at; (at = text.find(separator, from)) != text.npos;
       from = at + separator.size()) {
    pieces.push_back(text.substr(from, at - from));
  }
  pieces.push_back(text.substr(from));
  return pieces;
}

// "receivedDateTime ge 2026-03-05T00:00:00Z" or "isRead eq false"
std::optional<ODataClause> clauseOf(const std::string& text) {
  std::istringstream words(text);
  ODataClause clause;
  std::string more;
  if (!(words >> clause.property >> clause.comparison >> clause.value) || words >> more) {
    return std::nullopt;
  }
  constexpr std::array<std::string_view, 5> comparisons = {"eq", "ge", "gt", "le", "lt"};
  const bool isMoment = clause.property == "receivedDateTime" &&
                        parseInternetDateTime(clause.value) &&
                        std::ranges::count(comparisons, clause.comparison) > 0;
  const bool isFlag = clause.property == "isRead" && clause.comparison == "eq" &&
                      (clause.value == "true" || clause.value == "false");
  if (!isMoment && !isFlag) return std::nullopt;
  return clause;
}

bool readFilter(const std::string& text, ODataQuery& query) {
  for (const std::string& piece : splitAt(text, " and ")) {
    const auto clause = clauseOf(piece);
    if (!clause) return false;
    query.filter.push_back(*clause);
  }
  return true;
}

bool readOrder(const std::string& text, ODataQuery& query) {
  const std::vector<std::string> words = splitAt(text, " ");
  query.orderBy = words.front();
  query.descending = words.size() == 2 && words[1] == "desc";
  const bool isKnown = query.orderBy == "receivedDateTime" || query.orderBy == "sentDateTime";
  return isKnown && (words.size() == 1 || query.descending || words[1] == "asc");
}

bool readTop(const std::string& text, ODataQuery& query) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), query.top);
  return error == std::errc() && end == text.data() + text.size() && query.top >= 1 &&
         query.top <= 1000;
}

bool readOption(const QueryItem& item, ODataQuery& query) {
  const std::string value = item.value.value_or("");
  if (item.name == "$filter") return readFilter(value, query);
  if (item.name == "$orderby") return readOrder(value, query);
  if (item.name == "$top") return readTop(value, query);
  if (item.name != "$select") return false;
  query.select = splitAt(value, ",");
  return true;
}

}  // namespace

bool ODataQuery::filtersBy(std::string_view property) const {
  return std::ranges::any_of(filter, [&](const auto& each) { return each.property == property; });
}

bool ODataQuery::selects(std::string_view property) const {
  return std::ranges::count(select, property) > 0;
}

std::optional<ODataQuery> oDataQuery(const std::vector<QueryItem>& items) {
  ODataQuery query;
  for (const QueryItem& item : items) {
    if (!readOption(item, query)) return std::nullopt;
  }
  return query;
}

bool holds(const ODataClause& clause, InternetMoment moment) {
  const InternetMoment bound = *parseInternetDateTime(clause.value);
  if (clause.comparison == "ge") return moment >= bound;
  if (clause.comparison == "gt") return moment > bound;
  if (clause.comparison == "le") return moment <= bound;
  if (clause.comparison == "lt") return moment < bound;
  return moment == bound;
}

}  // namespace halcyra::sandbox

#include "cli/Table.h"

#include <algorithm>

#include "text/ControlCharacters.h"
#include "text/Graphemes.h"

namespace halcyra {

std::string alignedTable(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], graphemeCount(onOneLine(row[i])));
    }
  }
  std::string table;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string cell = onOneLine(row[i]);
      line += cell + std::string(widths[i] - graphemeCount(cell) + 2, ' ');
    }
    table += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
  }
  return table;
}

}  // namespace halcyra

#pragma once

#include <string>
#include <vector>

namespace halcyra {

/// The rows as lines with aligned columns, two blanks between them and none at the end of a line.
/// Cells are made fit for a terminal; a row may have fewer cells than another.
std::string alignedTable(const std::vector<std::vector<std::string>>& rows);

}  // namespace halcyra

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace halcyra {

/// A tag as Outlook takes it for a category: trimmed, on one line, less than 256 characters.
std::string categoryName(std::string_view tag);

enum class CategoryAdded { yes, noRoom };

/// Adds the category unless it is there. A message carries at most 25: `categories` stays as it is
/// when there is no room.
CategoryAdded addCategoryName(std::vector<std::string>& categories, const std::string& name);

}  // namespace halcyra

#include "mail/GraphCategories.h"

#include <algorithm>

#include "text/Graphemes.h"
#include "text/Trim.h"

namespace halcyra {

std::string categoryName(std::string_view tag) {
  constexpr std::size_t longest = 255;
  std::string name(trimmed(tag));
  std::replace(name.begin(), name.end(), '\n', ' ');
  return std::string(graphemePrefix(name, longest));
}

CategoryAdded addCategoryName(std::vector<std::string>& categories, const std::string& name) {
  constexpr std::size_t most = 25;
  const bool isThere = std::find(categories.begin(), categories.end(), name) != categories.end();
  if (isThere) return CategoryAdded::yes;
  if (categories.size() >= most) return CategoryAdded::noRoom;
  categories.push_back(name);
  return CategoryAdded::yes;
}

}  // namespace halcyra

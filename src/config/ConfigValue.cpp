// One value of a configuration, addressed by its path.
#include <charconv>
#include <numeric>

#include "config/RecordTable.h"
#include "text/Case.h"
#include "text/Json.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

constexpr std::size_t longestNameCompared = 100;

// Levenshtein's distance, one row at a time.
std::size_t editDistance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < left.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < right.size(); ++j) {
      const std::size_t replaced = diagonal + (left[i] == right[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

bool isNear(std::string_view asked, std::string_view name) {
  const std::string left = asciiLowercased(asked);
  const std::string right = asciiLowercased(name);
  return editDistance(left, right) <= std::max<std::size_t>(2, left.size() / 4) ||
         (left.size() >= 3 && right.find(left) != std::string::npos);
}

[[noreturn]] void failUnknownKey(const nlohmann::json& object, std::string_view key,
                                 const Place& place) {
  std::string near;
  if (key.size() <= longestNameCompared) {
    for (const auto& [name, value] : object.items()) {
      if (isNear(key, name)) near += (near.empty() ? "" : ", ") + name;
    }
  }
  place.fail(near.empty() ? "no such setting" : "no such setting; near it: " + near);
}

// The steps of a key path: `a.b[2]` is a, b, 2.
class KeyPath {
 public:
  explicit KeyPath(std::string_view path) : path_(path) {}

  nlohmann::json& findIn(nlohmann::json& document) {
    if (path_.empty()) malformed();
    return follow(document, Place());
  }

 private:
  nlohmann::json& follow(nlohmann::json& value, const Place& place) {
    if (position_ == path_.size()) return value;
    if (path_[position_] == '[') {
      const std::size_t index = takeIndex();
      const Place elementPlace(place, index);
      if (!value.is_array()) place.fail("is no list");
      if (index >= value.size()) {
        elementPlace.fail("the list has " + std::to_string(value.size()) + " entries");
      }
      return follow(value[index], elementPlace);
    }
    const std::string_view key = takeKey();
    const Place keyPlace(place, key);
    if (!value.is_object()) place.fail("has no settings of its own");
    const auto found = value.find(key);
    if (found == value.end()) failUnknownKey(value, key, keyPlace);
    return follow(*found, keyPlace);
  }

  std::string_view takeKey() {
    if (position_ > 0) {
      if (path_[position_] != '.') malformed();
      ++position_;
    }
    const std::size_t end = std::min(path_.find_first_of(".[", position_), path_.size());
    const std::string_view key = path_.substr(position_, end - position_);
    if (key.empty()) malformed();
    position_ = end;
    return key;
  }

  std::size_t takeIndex() {
    std::size_t index = 0;
    const char* const begin = path_.data() + position_ + 1;
    const char* const end = path_.data() + path_.size();
    const auto [behind, error] = std::from_chars(begin, end, index);
    if (error != std::errc{} || behind == end || *behind != ']') malformed();
    position_ = static_cast<std::size_t>(behind + 1 - path_.data());
    return index;
  }

  [[noreturn]] void malformed() const {
    throw ConfigError("A key is written like llmModel or rules[0].forwardTo, not like " +
                      jsonText(std::string(path_)) + ".");
  }

  std::string_view path_;
  std::size_t position_ = 0;
};

nlohmann::json parseValue(std::string_view keyPath, std::string_view value,
                          const nlohmann::json& present) {
  try {
    return parseJson(value);
  } catch (const JsonError& error) {
    const std::string start = std::string(keyPath) + ": ";
    if (present.is_boolean()) throw ConfigError(start + "say true or false");
    if (present.is_number()) throw ConfigError(start + "say a number");
    throw ConfigError(start + "the value is not JSON. " + error.what());
  }
}

}  // namespace

AppConfig configWithValue(const AppConfig& config, std::string_view keyPath,
                          std::string_view value) {
  if (!isValidUtf8(keyPath) || !isValidUtf8(value)) {
    throw ConfigError("The key or the value is not UTF-8 text.");
  }
  nlohmann::json document = encodeValue(config);
  nlohmann::json& target = KeyPath(keyPath).findIn(document);
  if (target.is_string()) {
    target = std::string(value);
  } else {
    target = parseValue(keyPath, value, target);
  }
  AppConfig changed;
  decodeValue(document, changed, Place());
  return changed;
}

}  // namespace halcyra

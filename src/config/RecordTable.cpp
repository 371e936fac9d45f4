#include "config/RecordTable.h"

#include "text/Graphemes.h"
#include "text/Json.h"

namespace halcyra {
namespace {

// 2^63, exactly a double; the largest 64-bit integer is not.
constexpr double beyondWholeNumbers = 9223372036854775808.0;

constexpr Date dateOrigin = std::chrono::sys_days(std::chrono::year(2001) / 1 / 1);
constexpr double farthestSeconds = 8e9;  // about 250 years, which a Date still holds

bool isPlainWord(std::string_view key) {
  return !key.empty() && std::all_of(key.begin(), key.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  });
}

// A text of the file inside a message: in quotes, on one line, not longer than a message may be.
std::string inQuotes(std::string_view text) {
  const std::string_view shown = graphemePrefix(text, 60);
  return jsonText(std::string(shown)) + (shown.size() < text.size() ? "..." : "");
}

}  // namespace

std::string Place::path() const {
  if (!parent_) return "";
  const std::string before = parent_->path();
  if (key_.data() == nullptr) return before + "[" + std::to_string(index_) + "]";
  if (!isPlainWord(key_)) return before + "[" + inQuotes(key_) + "]";
  return before.empty() ? std::string(key_) : before + "." + std::string(key_);
}

void Place::fail(std::string_view fault) const {
  const std::string where = path();
  throw ConfigError((where.empty() ? "top level" : where) + ": " + std::string(fault));
}

void decodeValue(const nlohmann::json& json, std::string& value, const Place& place) {
  if (!json.is_string()) place.fail("expected a text");
  value = json.get_ref<const std::string&>();
}

void decodeValue(const nlohmann::json& json, bool& value, const Place& place) {
  if (!json.is_boolean()) place.fail("expected true or false");
  value = json.get<bool>();
}

void decodeValue(const nlohmann::json& json, std::int64_t& value, const Place& place) {
  if (!json.is_number()) place.fail("expected a whole number");
  if (json.is_number_unsigned()) {
    const auto number = json.get<std::uint64_t>();
    if (!std::in_range<std::int64_t>(number)) place.fail("the number is too large");
  } else if (json.is_number_float()) {
    const auto number = json.get<double>();
    if (number != std::trunc(number)) place.fail("expected a whole number");
    if (std::abs(number) >= beyondWholeNumbers) place.fail("the number is too large");
  }
  value = json.get<std::int64_t>();
}

void decodeValue(const nlohmann::json& json, double& value, const Place& place) {
  if (!json.is_number()) place.fail("expected a number");
  value = json.get<double>();
}

void decodeValue(const nlohmann::json& json, Date& value, const Place& place) {
  using std::chrono::microseconds;
  double seconds = 0;
  decodeValue(json, seconds, place);
  seconds = std::clamp(seconds, -farthestSeconds, farthestSeconds);
  value = dateOrigin + microseconds(std::llround(seconds * 1e6));
}

nlohmann::json encodeValue(double value) {
  if (!std::isfinite(value)) throw ConfigError("A number of the configuration is not finite.");
  return value;
}

nlohmann::json encodeValue(Date value) {
  const auto since = std::chrono::round<std::chrono::microseconds>(value - dateOrigin);
  return static_cast<double>(since.count()) / 1e6;
}

void failUnknownRawString(const nlohmann::json& json, std::span<const std::string_view> known,
                          const Place& place) {
  std::string names;
  for (const std::string_view name : known) {
    names += (names.empty() ? "" : ", ") + std::string(name);
  }
  place.fail(inQuotes(json.get_ref<const std::string&>()) + " is not one of " + names);
}

}  // namespace halcyra

#pragma once

#include <chrono>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/ConfigJson.h"
#include "config/RawStrings.h"
#include "text/Json.h"

namespace halcyra {

/// Where in a document a value stands: a chain of keys and indexes that lives on the stack while
/// the value is decoded, so that a path is only spelled out when something is wrong.
class Place {
 public:
  Place() = default;
  Place(const Place& parent, std::string_view key) : parent_(&parent), key_(key) {}
  Place(const Place& parent, std::size_t index) : parent_(&parent), index_(index) {}

  /// `rules[2].action`; a key that is no plain word is quoted.
  std::string path() const;

  [[noreturn]] void fail(std::string_view fault) const;

 private:
  const Place* parent_ = nullptr;
  std::string_view key_;
  std::size_t index_ = 0;
};

/// What a missing key means to the decoder of a record.
enum class Absent {
  fails,
  /// The member keeps the value it has in a fresh record.
  isDefault,
  /// The default is added to the document before it is decoded; for the decoder alone it fails.
  isFilled,
};

/// One field of a record in its JSON form.
template <class Record>
struct Field {
  std::string_view name;
  Absent absent;
  void (*decode)(const nlohmann::json& value, Record& record, const Place& place);
  nlohmann::json (*encode)(const Record& record);
  void (*findUnknown)(const nlohmann::json& value, const Place& place,
                      std::vector<std::string>& unknown);
};

/// The one table of a record: its fields in order. Specialised for each record that has a JSON
/// form.
template <class Record>
std::span<const Field<Record>> fieldsOf() = delete;

template <class Type>
concept HasTable = requires {
  fieldsOf<Type>();
};

template <class Enum>
concept HasRawStrings = rawStrings<Enum>
.size() > 0;

// Each kind of value: from JSON, to JSON, and where it holds keys that no table knows.

void decodeValue(const nlohmann::json& json, std::string& value, const Place& place);
void decodeValue(const nlohmann::json& json, bool& value, const Place& place);
/// Accepts 993.0 as a whole number.
void decodeValue(const nlohmann::json& json, std::int64_t& value, const Place& place);
void decodeValue(const nlohmann::json& json, double& value, const Place& place);
/// A number of seconds since 2001-01-01 00:00:00 UTC, read to the microsecond.
using Date = std::chrono::system_clock::time_point;
void decodeValue(const nlohmann::json& json, Date& value, const Place& place);
void decodeValue(const nlohmann::json& json, Kind& value, const Place& place);

nlohmann::json encodeValue(const Kind& value);
inline nlohmann::json encodeValue(const std::string& value) {
  return value;
}
inline nlohmann::json encodeValue(bool value) {
  return value;
}
inline nlohmann::json encodeValue(std::int64_t value) {
  return value;
}
nlohmann::json encodeValue(double value);
nlohmann::json encodeValue(Date value);

[[noreturn]] void failUnknownRawString(const nlohmann::json& json,
                                       std::span<const std::string_view> known, const Place& place);

template <HasRawStrings Enum>
void decodeValue(const nlohmann::json& json, Enum& value, const Place& place) {
  std::string text;
  decodeValue(json, text, place);
  const std::optional<Enum> found = enumOfRawString<Enum>(text);
  if (!found) failUnknownRawString(json, rawStrings<Enum>, place);
  value = *found;
}

template <HasRawStrings Enum>
nlohmann::json encodeValue(Enum value) {
  return rawString(value);
}

template <class Record>
requires HasTable<Record>
void decodeValue(const nlohmann::json& json, Record& record, const Place& place) {
  if (!json.is_object()) place.fail("expected an object");
  for (const Field<Record>& field : fieldsOf<Record>()) {
    const Place fieldPlace(place, field.name);
    const auto found = json.find(field.name);
    if (found != json.end()) {
      field.decode(*found, record, fieldPlace);
    } else if (field.absent != Absent::isDefault) {
      fieldPlace.fail("missing");
    }
  }
}

template <class Record>
requires HasTable<Record> nlohmann::json encodeValue(const Record& record) {
  nlohmann::json json = nlohmann::json::object();
  for (const Field<Record>& field : fieldsOf<Record>()) {
    nlohmann::json value = field.encode(record);
    if (!value.is_null()) json[field.name] = std::move(value);
  }
  return json;
}

template <class Value>
void decodeValue(const nlohmann::json& json, std::map<std::string, Value>& values,
                 const Place& place) {
  if (!json.is_object()) place.fail("expected an object");
  values.clear();
  for (const auto& [key, value] : json.items()) decodeValue(value, values[key], Place(place, key));
}

template <class Value>
nlohmann::json encodeValue(const std::map<std::string, Value>& values) {
  nlohmann::json json = nlohmann::json::object();
  for (const auto& [key, value] : values) json[key] = encodeValue(value);
  return json;
}

/// Nothing is null, which a record leaves out.
template <class Value>
void decodeValue(const nlohmann::json& json, std::optional<Value>& value, const Place& place) {
  value.reset();
  if (!json.is_null()) decodeValue(json, value.emplace(), place);
}

template <class Value>
nlohmann::json encodeValue(const std::optional<Value>& value) {
  return value ? encodeValue(*value) : nlohmann::json();
}

template <class Element>
void decodeValue(const nlohmann::json& json, std::vector<Element>& elements, const Place& place) {
  if (!json.is_array()) place.fail("expected a list");
  elements.clear();
  elements.reserve(json.size());
  for (std::size_t index = 0; index < json.size(); ++index) {
    decodeValue(json[index], elements.emplace_back(), Place(place, index));
  }
}

template <class Element>
nlohmann::json encodeValue(const std::vector<Element>& elements) {
  nlohmann::json json = nlohmann::json::array();
  for (const Element& element : elements) json.push_back(encodeValue(element));
  return json;
}

/// Finds the keys under one value that its type does not have. Only records have keys.
template <class Type>
struct UnknownKeys {
  static void find(const nlohmann::json&, const Place&, std::vector<std::string>&) {}
};

template <class Record>
requires HasTable<Record>
struct UnknownKeys<Record> {
  static void find(const nlohmann::json& json, const Place& place,
                   std::vector<std::string>& unknown) {
    if (!json.is_object()) return;
    for (const auto& item : json.items()) {
      const std::string& key = item.key();
      const Place keyPlace(place, key);
      const auto& fields = fieldsOf<Record>();
      const auto field = std::find_if(fields.begin(), fields.end(),
                                      [&](const auto& each) { return each.name == key; });
      if (field == fields.end()) {
        unknown.push_back(keyPlace.path());
      } else {
        field->findUnknown(item.value(), keyPlace, unknown);
      }
    }
  }
};

template <class Element>
struct UnknownKeys<std::vector<Element>> {
  static void find(const nlohmann::json& json, const Place& place,
                   std::vector<std::string>& unknown) {
    if (!json.is_array()) return;
    for (std::size_t index = 0; index < json.size(); ++index) {
      UnknownKeys<Element>::find(json[index], Place(place, index), unknown);
    }
  }
};

template <>
struct UnknownKeys<Kind> {
  static void find(const nlohmann::json& json, const Place& place,
                   std::vector<std::string>& unknown);
};

template <class Member>
struct MemberTypes;

template <class RecordType, class ValueType>
struct MemberTypes<ValueType RecordType::*> {
  using Record = RecordType;
  using Value = ValueType;
};

/// A row of a record's table.
template <auto member>
constexpr auto field(std::string_view name, Absent absent) {
  using Record = typename MemberTypes<decltype(member)>::Record;
  using Value = typename MemberTypes<decltype(member)>::Value;
  return Field<Record>{name, absent,
                       [](const nlohmann::json& json, Record& record, const Place& place) {
                         decodeValue(json, record.*member, place);
                       },
                       [](const Record& record) { return encodeValue(record.*member); },
                       &UnknownKeys<Value>::find};
}

template <>
std::span<const Field<IMAPConnection>> fieldsOf();
template <>
std::span<const Field<MailAccountOutgoingSMTP>> fieldsOf();
template <>
std::span<const Field<MailAccount>> fieldsOf();
template <>
std::span<const Field<MailRule>> fieldsOf();
template <>
std::span<const Field<CRMConnectionProfile>> fieldsOf();
template <>
std::span<const Field<CustomAutomationStep>> fieldsOf();
template <>
std::span<const Field<CustomAutomation>> fieldsOf();
template <>
std::span<const Field<AppConfig>> fieldsOf();

}  // namespace halcyra

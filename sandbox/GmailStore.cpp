#include "sandbox/GmailStore.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <functional>
#include <sstream>

#include "text/Case.h"

namespace halcyra::sandbox {
namespace {

using Clock = std::chrono::system_clock;

// Midnight of "2026/03/05" in the local time zone.
std::optional<Clock::time_point> dayStart(const std::string& text) {
  std::tm day{};
  if (std::sscanf(text.c_str(), "%4d/%2d/%2d", &day.tm_year, &day.tm_mon, &day.tm_mday) != 3) {
    return std::nullopt;
  }
  day.tm_year -= 1900;
  day.tm_mon -= 1;
  day.tm_isdst = -1;
  return Clock::from_time_t(std::mktime(&day));
}

bool satisfies(const GmailMessage& message, const std::string& word) {
  const std::size_t colon = word.find(':');
  const std::string name = word.substr(0, colon);
  const std::string value = colon == word.npos ? "" : word.substr(colon + 1);
  if (word == "is:unread") return message.labels.contains("UNREAD");
  if (name == "in") {
    return std::any_of(message.labels.begin(), message.labels.end(),
                       [&](const auto& label) { return equalsIgnoringAsciiCase(label, value); });
  }
  if (name == "after" || name == "before") {
    const auto day = dayStart(value);
    return day && (name == "after" ? message.received >= *day : message.received < *day);
  }
  return message.raw.find(word) != message.raw.npos;
}

}  // namespace

std::string GmailStore::add(std::string raw, std::set<std::string> labels,
                            Clock::time_point received) {
  std::array<char, 24> id;
  std::snprintf(id.data(), id.size(), "19b%013zx", messages_.size() + 1);
  messages_.push_back({id.data(), std::move(raw), std::move(labels), received});
  return id.data();
}

GmailMessage* GmailStore::find(std::string_view id) {
  const auto found = std::find_if(messages_.begin(), messages_.end(),
                                  [&](const GmailMessage& message) { return message.id == id; });
  return found == messages_.end() ? nullptr : &*found;
}

std::vector<std::string> GmailStore::search(const std::string& query) const {
  std::istringstream stream(query);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  std::vector<const GmailMessage*> found;
  for (const GmailMessage& message : messages_) {
    const bool all = std::all_of(words.begin(), words.end(),
                                 [&](const auto& word) { return satisfies(message, word); });
    if (all) found.push_back(&message);
  }
  std::ranges::stable_sort(found, std::greater(), &GmailMessage::received);
  std::vector<std::string> ids;
  for (const GmailMessage* message : found) ids.push_back(message->id);
  return ids;
}

std::optional<GmailUserLabel> GmailStore::addLabel(const std::string& name) {
  const auto isTaken = [&](const std::string& other) {
    return lowercased(other) == lowercased(name);
  };
  if (std::ranges::any_of(systemLabels(), isTaken)) return std::nullopt;
  if (std::ranges::any_of(userLabels_, isTaken, &GmailUserLabel::name)) return std::nullopt;
  userLabels_.push_back({"Label_" + std::to_string(userLabels_.size() + 1), name});
  return userLabels_.back();
}

const std::vector<std::string>& GmailStore::systemLabels() {
  static const std::vector<std::string> names = {"INBOX",
                                                 "SENT",
                                                 "UNREAD",
                                                 "IMPORTANT",
                                                 "STARRED",
                                                 "TRASH",
                                                 "SPAM",
                                                 "CHAT",
                                                 "CATEGORY_PROMOTIONS",
                                                 "CATEGORY_SOCIAL",
                                                 "CATEGORY_UPDATES",
                                                 "DRAFT",
                                                 "CATEGORY_PERSONAL"};
  return names;
}

bool GmailStore::hasLabel(const std::string& id) const {
  return std::ranges::count(systemLabels(), id) > 0 ||
         std::ranges::count(userLabels_, id, &GmailUserLabel::id) > 0;
}

std::string GmailStore::labelName(const std::string& id) const {
  const auto found = std::ranges::find(userLabels_, id, &GmailUserLabel::id);
  return found == userLabels_.end() ? id : found->name;
}

}  // namespace halcyra::sandbox

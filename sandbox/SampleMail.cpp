#include "sandbox/SampleMail.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace halcyra::sandbox {

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> messagesIn(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() == ".eml") files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

}  // namespace

std::string mailDate(std::chrono::system_clock::time_point moment) {
  static constexpr std::array days{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr std::array months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::time_t seconds = std::chrono::system_clock::to_time_t(moment);
  std::tm local{};
  localtime_r(&seconds, &local);
  // Names by hand: strftime's follow the locale.
  std::array<char, 32> clock{};
  std::strftime(clock.data(), clock.size(), "%Y %H:%M:%S %z", &local);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%s, %02d %s %s",
                days.at(static_cast<std::size_t>(local.tm_wday)), local.tm_mday,
                months.at(static_cast<std::size_t>(local.tm_mon)), clock.data());
  return text.data();
}

std::string sampleMessage(const fs::path& file, std::chrono::system_clock::time_point moment) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream read;
  read << in.rdbuf();
  std::string text = read.str();
  if (!in || text.empty()) throw std::runtime_error("cannot read " + file.string());
  static constexpr std::string_view place = "{DATE}";
  if (const std::size_t at = text.find(place); at != std::string::npos) {
    text.replace(at, place.size(), mailDate(moment));
  }
  return text;
}

std::vector<fs::path> sampleFiles() {
  return messagesIn(HALCYRA_SAMPLES);
}

std::vector<fs::path> gmailSampleFiles() {
  return messagesIn(fs::path(HALCYRA_SAMPLES) / "gmail");
}

std::vector<fs::path> outlookSampleFiles() {
  return messagesIn(fs::path(HALCYRA_SAMPLES) / "outlook");
}

fs::path olderSampleFile() {
  return fs::path(HALCYRA_SAMPLES) / "older" / "unread-since-yesterday.eml";
}

std::string simpleMessage(std::string_view messageID, std::string_view subject,
                          std::string_view body) {
  std::ostringstream text;
  text << "From: Kim Rowan <kim@rowan.example.org>\nTo: Robin Alder <robin@example.com>\nSubject: "
       << subject << "\nDate: " << mailDate(std::chrono::system_clock::now())
       << "\nMessage-ID: " << messageID << "\n\n"
       << body << "\n";
  return text.str();
}

}  // namespace halcyra::sandbox

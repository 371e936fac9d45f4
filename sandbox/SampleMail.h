#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace halcyra::sandbox {

/// The moment as a Date header has it, in the local time zone: "Tue, 03 Feb 2026 09:05:00 +0100".
std::string mailDate(std::chrono::system_clock::time_point moment);

/// A stored message with {DATE} filled in. Throws std::runtime_error when the file cannot be read.
std::string sampleMessage(const std::filesystem::path& file,
                          std::chrono::system_clock::time_point moment);

/// The sample messages: a business inbox of one day, by file name.
std::vector<std::filesystem::path> sampleFiles();

/// Those of the same person's private Gmail mailbox and of an Outlook mailbox.
std::vector<std::filesystem::path> gmailSampleFiles();
std::vector<std::filesystem::path> outlookSampleFiles();

/// A message that has waited, unread, since an earlier day.
std::filesystem::path olderSampleFile();

/// A short plain message from one person of example.org.
std::string simpleMessage(std::string_view messageID, std::string_view subject,
                          std::string_view body);

}  // namespace halcyra::sandbox

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/SubmissionServer.h"

namespace halcyra::sandbox {

/// What the demo tells about one message.
struct DemoRow {
  std::string messageID;
  std::string subject;
  std::string from;
  std::string decision = "not looked at";
  std::string decidedBy = "";
  std::optional<double> confidence = {};
  /// The model's proposal for an answer.
  std::string draft = {};
  /// The proposal was to be sent, and was.
  bool answering = false;
  bool answered = false;
  /// As the server has it afterwards.
  bool seen = false;
};

/// Where the report is shown.
struct Screen {
  std::size_t width = 100;
  bool colours = false;
};

/// Standard output: its width, and colours only if it is a terminal that wants them.
Screen thisScreen();

/// The table of all messages, then the suggested replies.
std::string demoReport(const std::vector<DemoRow>& rows, const Screen& screen);

/// What the submission server took, a few lines of each message.
std::string submissionReport(const std::vector<SubmittedMessage>& messages, const Screen& screen);

}  // namespace halcyra::sandbox

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sandbox/SubmissionServer.h"

namespace halcyra::sandbox {

/// What the demo tells about one message.
struct DemoRow {
  std::string messageID;
  /// Id of its mailbox.
  std::string mailbox = {};
  /// Gmail's or Graph's own id of it.
  std::string providerID = {};
  /// Of today, and so to be looked at.
  bool isOfToday = true;
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
  /// The labels or categories that it was given there.
  std::vector<std::string> tags = {};
};

/// A mailbox as the table heads its messages.
struct DemoMailbox {
  std::string id;
  std::string title;
};

/// A message that left through Gmail or Graph.
struct ProviderSent {
  std::string provider;
  std::string to;
  std::string subject;
};

/// A lead in a CRM.
struct DemoLead {
  std::string crm;
  std::string id;
  /// As they were sent.
  std::vector<std::pair<std::string, std::string>> fields;
};

/// Where the report is shown.
struct Screen {
  std::size_t width = 100;
  bool colours = false;
};

/// Standard output: its width, and colours only if it is a terminal that wants them.
Screen thisScreen();

/// The table of all messages by mailbox, then the suggested replies.
std::string demoReport(const std::vector<DemoMailbox>& mailboxes, const std::vector<DemoRow>& rows,
                       const Screen& screen);

/// The appointments of each day that a proposed meeting has to fit.
std::string calendarReport(const std::vector<std::string>& appointments, const Screen& screen);

/// What the CRMs hold, long fields shortened.
std::string leadReport(const std::vector<DemoLead>& leads, const Screen& screen);

/// What left through the providers themselves.
std::string providerReport(const std::vector<ProviderSent>& messages, const Screen& screen);

/// What the submission server took, a few lines of each message.
std::string submissionReport(const std::vector<SubmittedMessage>& messages, const Screen& screen);

}  // namespace halcyra::sandbox

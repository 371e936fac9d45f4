#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "triage/IMAPPass.h"
#include "triage/SuggestionPresenter.h"
#include "triage/TriageDecision.h"

namespace halcyra {

/// What `monitor` shows while it runs. A suggestion that could not be written throws, so that its
/// message stays unread and is met again.
class MonitorFace : public TriageObserver, public SuggestionPresenter {
 public:
  /// Has something not reached standard output?
  virtual bool lostOutput() const = 0;
  virtual void status(const std::string& text) = 0;
  virtual void passEnded(const MailAccount& account, PassResult result) = 0;
};

/// For a person: suggestions in full on standard output, between the log lines.
std::unique_ptr<MonitorFace> textMonitorFace();

/// For a program: one JSON object a line on standard output.
std::unique_ptr<MonitorFace> jsonMonitorFace();

/// Standard output in whole pieces, since log lines of another thread go there too.
class WholeOutput {
 public:
  /// Throws std::runtime_error when the system does not take all of it.
  void write(std::string_view text);

  bool failed() const { return failed_; }

 private:
  bool failed_ = false;
};

}  // namespace halcyra

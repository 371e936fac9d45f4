#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

#include "app/Environment.h"
#include "platform/Log.h"
#include "platform/Task.h"
#include "triage/IMAPPass.h"
#include "triage/SuggestionPresenter.h"
#include "triage/TriageDecision.h"

namespace halcyra {

/// What `monitor` shows while it runs, and what it is told. A suggestion that could not be written
/// throws, so that its message stays unread and is met again. Belongs to the main executor.
class MonitorFace : public TriageObserver, public SuggestionPresenter {
 public:
  virtual Log& log() = 0;
  /// Has something not reached standard output?
  virtual bool lostOutput() const = 0;
  virtual void status(const std::string& text) = 0;
  virtual void passEnded(const MailAccount& account, PassResult result) = 0;

  /// Answers suggestions until the input ends; faces that take no answers end at once.
  virtual Task<void> takeAnswers() { co_return; }
  /// Nobody will answer from here on: ends `takeAnswers`, at the latest when the answer that is
  /// being written is done, and shows what was never shown in full.
  virtual void stopTakingAnswers() {}
  /// Ends when no send is under way. To be called after `takeAnswers` has ended.
  virtual Task<void> sendsEnded() { co_return; }
};

/// The executors of a face that takes answers.
struct FaceExecutors {
  Executor main;
  Executor blocking;
};

/// Suggestions in full on standard output, between the log lines. Nobody can answer them.
std::unique_ptr<MonitorFace> textMonitorFace();

/// For a person at the terminal: suggestions are cards that wait for an answer.
std::unique_ptr<MonitorFace> terminalMonitorFace(FaceExecutors executors,
                                                 const Variables& variables);

/// For a program: one JSON object a line on standard output, commands on standard input.
std::unique_ptr<MonitorFace> jsonMonitorFace(FaceExecutors executors);

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

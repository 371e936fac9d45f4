#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "app/GeneralQuestionSheet.h"
#include "text/Json.h"

namespace halcyra {

/// The suggestion popup for another program: suggestions wait by their key for a command, one JSON
/// object each, and every command is answered by one event.
///
///   {"command":"send","key":K,"text":T}                 reply with the text
///   {"command":"send","key":K,"text":T,"ruleId":R}      carry out the rule instead
///   {"command":"dismiss","key":K}                       a send under way goes on
///
/// Belongs to the main executor and outlives the sends that it starts.
class JsonAnswers {
 public:
  using Tell = std::function<void(const nlohmann::json& event)>;

  JsonAnswers(Executor main, Tell tell);

  bool isWaiting(const std::string& key) const { return sheets_.contains(key); }

  /// A suggestion that waits under its key already stays as it is.
  void add(Suggestion suggestion);

  void obey(std::string_view line);

  /// Nobody will answer any more: what waits is forgotten.
  void inputEnded();

  /// Ends when no send is under way.
  Task<void> sendsEnded() { return sends_.drained(); }

 private:
  struct NoPasteboard : Pasteboard {
    void setText(const std::string&) override {}
  };

  void send(const std::string& key, const nlohmann::json& command);
  void sheetChanged(const std::string& key);
  void close(const std::string& key);
  void done(const std::string& command, const std::string& key);
  void refuse(const std::string& command, const std::string& key, const std::string& why);

  TaskGroup sends_;
  Tell tell_;
  NoPasteboard noPasteboard_;
  SheetServices services_;
  std::map<std::string, std::shared_ptr<GeneralQuestionSheet>> sheets_;
  /// Sends whose end was not yet told.
  std::set<std::string> unanswered_;
  /// Dismissed during their send, which goes on.
  std::set<std::string> dismissed_;
  bool inputEnded_ = false;
};

}  // namespace halcyra

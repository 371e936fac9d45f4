#include "cli/JsonAnswers.h"

#include <optional>
#include <utility>

#include "app/GeneralQuestionTabHostController.h"
#include "text/Json.h"

namespace halcyra {
namespace {

using nlohmann::json;

// Absent when the object has no such text.
std::optional<std::string> textOf(const json& object, const char* key) {
  const auto value = object.find(key);
  if (value == object.end() || !value->is_string()) return std::nullopt;
  return value->get<std::string>();
}

// An object, or nothing.
std::optional<json> commandIn(std::string_view line) {
  try {
    json command = parseJson(line);
    if (command.is_object()) return command;
  } catch (const JsonError&) {
    // Said below, as for anything else that is no command.
  }
  return std::nullopt;
}

}  // namespace

JsonAnswers::JsonAnswers(Executor main, Tell tell)
    : sends_(main),
      tell_(std::move(tell)),
      services_{.main = main, .sends = sends_, .pasteboard = noPasteboard_} {}

void JsonAnswers::add(Suggestion suggestion) {
  const std::string key = suggestionTabKey(*suggestion.mail);
  if (inputEnded_ || sheets_.contains(key)) return;
  sheets_[key] = std::make_shared<GeneralQuestionSheet>(
      std::move(suggestion), services_,
      GeneralQuestionSheet::Links{.closeThisTab = [this, key] { close(key); },
                                  .changed = [this, key] { sheetChanged(key); }});
}

void JsonAnswers::inputEnded() {
  inputEnded_ = true;
  std::erase_if(sheets_, [](const auto& entry) { return !entry.second->isSending(); });
}

void JsonAnswers::obey(std::string_view line) {
  const std::optional<json> command = commandIn(line);
  const std::string name = command ? textOf(*command, "command").value_or("") : "";
  const std::string key = command ? textOf(*command, "key").value_or("") : "";
  if (name != "send" && name != "dismiss") {
    return refuse(name, key,
                  "a command is one line with a JSON object: \"command\" is \"send\" or "
                  "\"dismiss\", \"key\" is that of a suggestion");
  }
  if (!isWaiting(key) || dismissed_.contains(key)) {
    return refuse(name, key, "no suggestion with this key waits");
  }
  if (name == "send") return send(key, *command);
  if (sheets_.at(key)->isSending()) {
    dismissed_.insert(key);
  } else {
    sheets_.erase(key);
  }
  done(name, key);
}

void JsonAnswers::send(const std::string& key, const json& command) {
  const auto sheet = sheets_.at(key);
  if (sheet->isSending()) return refuse("send", key, "it is being sent");
  const std::optional<std::string> text = textOf(command, "text");
  if (!text) return refuse("send", key, "\"text\" is missing; it is what the reply says");
  const bool hasRule = command.contains("ruleId") && !command["ruleId"].is_null();
  const std::optional<std::string> rule =
      hasRule ? textOf(command, "ruleId") : std::optional<std::string>("");
  if (!rule || !sheet->considerAs(*rule)) {
    return refuse("send", key, "\"ruleId\" is none of the suggestion's rule options");
  }
  sheet->setText(*text);
  if (!sheet->canSend()) return refuse("send", key, "\"text\" is empty");
  unanswered_.insert(key);
  sheet->sendResponse();
}

// Tells a send that failed, once.
void JsonAnswers::sheetChanged(const std::string& key) {
  const auto sheet = sheets_.at(key);
  if (!sheet->status() || unanswered_.erase(key) == 0) return;
  refuse("send", key, *sheet->status());
  if (inputEnded_ || dismissed_.erase(key) > 0) sheets_.erase(key);
}

// Tells a send that succeeded.
void JsonAnswers::close(const std::string& key) {
  sheets_.erase(key);
  unanswered_.erase(key);
  dismissed_.erase(key);
  done("send", key);
}

void JsonAnswers::done(const std::string& command, const std::string& key) {
  tell_({{"event", "answer"}, {"command", command}, {"key", key}, {"done", true}});
}

void JsonAnswers::refuse(const std::string& command, const std::string& key,
                         const std::string& why) {
  tell_(
      {{"event", "answer"}, {"command", command}, {"key", key}, {"done", false}, {"message", why}});
}

}  // namespace halcyra

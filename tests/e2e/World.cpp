#include "World.h"

#include <fstream>
#include <sstream>
#include <thread>

namespace halcyra {

using nlohmann::json;

// The conditions of these tests live in other processes, which cannot wake this one.
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds longest) {
  const auto deadline = std::chrono::steady_clock::now() + longest;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

json nextEvent(sandbox::ChildProcess& program, const std::string& kind) {
  while (const auto line = program.readLine(std::chrono::seconds(20))) {
    json event = json::parse(*line);
    if (event.at("event") == kind) return event;
  }
  return nullptr;
}

HttpResponse completion(const std::string& content) {
  const json body = {{"choices", {{{"message", {{"role", "assistant"}, {"content", content}}}}}}};
  return {200, {{"Content-Type", "application/json"}}, body.dump()};
}

std::string choice(const std::string& ruleId, double confidence, const std::string& draft) {
  json reply = {{"rule_id", ruleId}, {"confidence", confidence}, {"draft_reply", nullptr}};
  if (!draft.empty()) reply["draft_reply"] = draft;
  return reply.dump();
}

ScriptedModel::ScriptedModel(Answer answer)
    : answer_(std::move(answer)), server_([this](const sandbox::ServedRequest& request) {
        ++requests_;
        return answer_(json::parse(request.body)["messages"][1]["content"].get<std::string>());
      }) {}

World::World() : home(HALCYRA_BINARY_DIR "/halcyra-cli") {
  home.addRule("reply", "Reply", "Questions.", "notifyWithSuggestion");
  home.addRule("file", "File", "Receipts.", "doNothing");
  home.addRule("other", "Other", "The rest.", "doNothing", true);
  home.save();
  home.storeSecret("imap.password", password);
}

World::Run World::run(std::vector<std::string> arguments, const std::string& input) const {
  sandbox::ChildProcess program(home.command(std::move(arguments)));
  program.finishInput(input);
  const auto ending = program.wait(std::chrono::seconds(60));
  Run run;
  run.output = program.output();
  run.errors = program.errors();
  if (!ending) return run;
  run.status = ending->status;
  run.peakBytes = ending->peakBytes;
  std::istringstream lines(run.output);
  for (std::string line; std::getline(lines, line);) {
    json event = json::parse(line, nullptr, false);
    if (event.is_object()) run.events.push_back(std::move(event));
  }
  return run;
}

std::string World::Run::outcome(const std::string& messageID) const {
  for (const json& event : events) {
    if (event.value("event", "") == "decision" && event.value("messageID", "") == messageID) {
      return event.value("outcome", "");
    }
  }
  return "";
}

std::optional<std::set<std::string>> World::recorded() const {
  std::ifstream in(home.processedFile());
  if (!in) return std::set<std::string>{};
  const json content = json::parse(in, nullptr, false);
  if (!content.is_array()) return std::nullopt;
  std::set<std::string> ids;
  for (const json& key : content) {
    if (!key.is_string()) return std::nullopt;
    const std::string text = key;
    ids.insert(text.substr(text.find('\x1e') + 1));
  }
  return ids;
}

}  // namespace halcyra

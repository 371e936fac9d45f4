#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sandbox/ChildProcess.h"
#include "sandbox/DovecotServer.h"
#include "sandbox/LoopbackHttpServer.h"
#include "sandbox/ProgramHome.h"
#include "text/Json.h"

namespace halcyra {

inline constexpr const char* password = "pass \"word\" \\ one";

/// Waits until the condition holds; false when it does not within the time.
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds longest);

/// The next event of this kind that the program tells; null when it tells none for 20 seconds.
nlohmann::json nextEvent(sandbox::ChildProcess& program, const std::string& kind);

/// A chat-completions answer that carries this text.
HttpResponse completion(const std::string& content);

/// A reply that chooses a rule.
std::string choice(const std::string& ruleId, double confidence, const std::string& draft = "");

/// A model that answers by script and counts what it was asked.
class ScriptedModel {
 public:
  using Answer = std::function<HttpResponse(const std::string& userMessage)>;

  explicit ScriptedModel(Answer answer);

  int requests() const { return requests_; }
  std::string baseURL() const { return server_.baseURL() + "/v1"; }

 private:
  Answer answer_;
  std::atomic<int> requests_ = 0;
  sandbox::LoopbackHttpServer server_;
};

/// A home with the program to test, the password stored, a rule "reply", a rule "file" that does
/// nothing, and the catch-all "other".
class World {
 public:
  World();

  sandbox::ProgramHome home;

  /// Runs the program to its end.
  struct Run {
    int status = -1;
    std::string output;
    std::string errors;
    std::size_t peakBytes = 0;
    std::vector<nlohmann::json> events;

    /// The outcome of the decision on a message, empty without one.
    std::string outcome(const std::string& messageID) const;
  };
  Run run(std::vector<std::string> arguments, const std::string& input = "") const;
  Run onePass() const { return run({"monitor", "--once", "--json"}); }

  /// The Message-IDs on record, or nothing when the file is no JSON array of strings.
  std::optional<std::set<std::string>> recorded() const;
};

}  // namespace halcyra

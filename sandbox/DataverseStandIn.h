#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/LoopbackHttpServer.h"
#include "sandbox/StandIn.h"
#include "text/Json.h"

namespace halcyra::sandbox {

/// Answers like the Dataverse Web API of one environment, which holds leads and nothing else. A
/// token must have been issued for this environment. What the real service refuses is refused with
/// the same kind of error object. Safe to call from any thread. Kind of requests: lead.
class DataverseStandIn : public StandIn {
 public:
  /// The address that users configure and tokens are asked for.
  static constexpr const char* environment = "https://alder.crm.example";

  /// The scope of a token that is in force, or nothing.
  using ScopeOfToken = std::function<std::optional<std::string>(const std::string& token)>;

  explicit DataverseStandIn(ScopeOfToken scopeOfToken) : scopeOf_(std::move(scopeOfToken)) {}

  HttpResponse operator()(const ServedRequest& request);

  /// The records, oldest first, each with its `leadid`.
  std::vector<nlohmann::json> leads() const;

  /// Later answers are empty, as from a server that passes over the preference for a record.
  void answerWithoutRecord();

 private:
  std::optional<HttpResponse> refused(const ServedRequest& request) const;
  HttpResponse createLead(const ServedRequest& request);

  const ScopeOfToken scopeOf_;
  std::vector<nlohmann::json> leads_;
  bool givesRecord_ = true;
};

}  // namespace halcyra::sandbox

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sandbox/DemoReport.h"
#include "sandbox/DovecotServer.h"
#include "sandbox/LoopbackHttpServer.h"
#include "sandbox/ProgramHome.h"
#include "sandbox/SubmissionServer.h"

namespace halcyra::sandbox {

/// The model that answers: the one that the environment names, or the stand-in. Throws
/// std::runtime_error when the environment names only half of one.
class DemoModel {
 public:
  DemoModel();

  const std::string& baseURL() const { return baseURL_; }
  const std::string& name() const { return name_; }
  const std::string& key() const { return key_; }
  std::string description() const;

 private:
  std::unique_ptr<LoopbackHttpServer> standIn_;
  std::string baseURL_;
  std::string name_;
  std::string key_;
};

/// The servers of the demo's office, and one account that all of them know.
struct DemoOffice {
  DemoOffice();

  static constexpr const char* user = "robin@alder-tools.example.com";
  static constexpr const char* bookkeeping = "bookkeeping@alder-tools.example.com";
  static constexpr const char* sales = "sales@alder-tools.example.com";
  /// Suggestions of this rule are answered in the demo.
  static constexpr const char* answeredRule = "Support";

  DovecotServer mail;
  SubmissionServer submission;
};

/// Puts the samples into the inbox, the last one as of yesterday.
std::vector<DemoRow> deliverSamples(DemoOffice& office);

void configure(ProgramHome& home, const DemoOffice& office, const DemoModel& model);

}  // namespace halcyra::sandbox

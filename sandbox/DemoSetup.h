#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sandbox/DemoReport.h"
#include "sandbox/DovecotServer.h"
#include "sandbox/LoopbackHttpServer.h"
#include "sandbox/ProgramHome.h"
#include "sandbox/ProviderServers.h"
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

/// The servers of the demo's office, each with one account of the same person.
struct DemoOffice {
  DemoOffice();

  static constexpr const char* password = "plum cake";
  static constexpr const char* user = "robin@alder-tools.example.com";
  static constexpr const char* gmailUser = "robin.alder@gmail.example";
  static constexpr const char* outlookUser = "robin@alder-tools.example.net";
  static constexpr const char* bookkeeping = "bookkeeping@alder-tools.example.com";
  /// Suggestions of this rule are answered in the demo.
  static constexpr const char* answeredRule = "Support";

  /// The mailboxes, in the order in which they are shown.
  std::vector<DemoMailbox> mailboxes() const;

  DovecotServer mail;
  SubmissionServer submission;
  ProviderServers providers;
};

/// Puts the same appointments into the Outlook calendar for each of the next days, and gives them
/// as a person would note them.
std::vector<std::string> fillCalendar(DemoOffice& office);

/// Puts the samples into the inboxes, one of them as of yesterday.
std::vector<DemoRow> deliverSamples(DemoOffice& office);

/// Fills in what the servers hold of each message now.
void readBack(const DemoOffice& office, std::vector<DemoRow>& rows);

/// The leads that the CRMs hold now.
std::vector<DemoLead> leadsOf(const DemoOffice& office);

/// What left through Gmail and Graph.
std::vector<ProviderSent> sentThroughProviders(const DemoOffice& office);

void configure(ProgramHome& home, DemoOffice& office, const DemoModel& model);

}  // namespace halcyra::sandbox

// The inboxes of the demo: what is put into them and what they hold afterwards.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "sandbox/DemoSetup.h"
#include "sandbox/SampleMail.h"

namespace halcyra::sandbox {
namespace {

using nlohmann::json;
using std::chrono::system_clock;

constexpr std::chrono::minutes betweenMessages(7);

// Minutes after midnight of today, or of a later day.
system_clock::time_point localTime(int day, int minutes) {
  const std::time_t now = system_clock::to_time_t(system_clock::now());
  std::tm local{};
  localtime_r(&now, &local);
  local.tm_mday += day;
  local.tm_hour = minutes / 60;
  local.tm_min = minutes % 60;
  local.tm_sec = 0;
  local.tm_isdst = -1;
  return system_clock::from_time_t(std::mktime(&local));
}

// Sample times lie in the minutes before now, but never before today.
system_clock::time_point minutesAgo(int minutes) {
  return std::max(localTime(0, 0), system_clock::now() - std::chrono::minutes(minutes));
}

// The value of a header that the samples write on one line.
std::string headerOf(const std::string& message, const std::string& name) {
  const std::size_t at = message.find("\n" + name + ": ") + name.size() + 3;
  return message.substr(at, message.find('\n', at) - at);
}

/// A sample as it arrives, with the row that tells of it.
struct Sample {
  std::string message;
  system_clock::time_point received;
  DemoRow row;
};

// The last one has just arrived.
std::vector<Sample> samplesOf(const std::string& mailbox,
                              const std::vector<std::filesystem::path>& files) {
  std::vector<Sample> samples;
  auto age = betweenMessages * static_cast<int>(files.size());
  for (const auto& file : files) {
    age -= betweenMessages;
    Sample sample{"", minutesAgo(static_cast<int>(age.count())), {}};
    sample.message = sampleMessage(file, sample.received);
    sample.row.messageID = headerOf(sample.message, "Message-ID");
    sample.row.mailbox = mailbox;
    samples.push_back(std::move(sample));
  }
  return samples;
}

// Where a provider files it, by the sample's name.
std::set<std::string> gmailLabels(const std::string& messageID) {
  std::set<std::string> labels = {"INBOX", "UNREAD"};
  if (messageID.starts_with("<offer")) labels.insert("CATEGORY_PROMOTIONS");
  if (messageID.starts_with("<followers")) labels.insert("CATEGORY_SOCIAL");
  return labels;
}

const char* outlookTab(const std::string& messageID) {
  return messageID.starts_with("<hall") ? "other" : "focused";
}

// A row for a message that the program does not download is filled in here.
DemoRow arrived(Sample sample, std::string providerID) {
  sample.row.subject = headerOf(sample.message, "Subject");
  sample.row.from = headerOf(sample.message, "From");
  sample.row.providerID = std::move(providerID);
  return std::move(sample.row);
}

DemoRow deliverOlder(DemoOffice& office) {
  const auto yesterday = system_clock::now() - std::chrono::hours(25);
  const std::string older = sampleMessage(olderSampleFile(), yesterday);
  office.mail.deliver(DemoOffice::user, older, yesterday);
  DemoRow row = arrived({older, yesterday, {}}, "");
  row.messageID = headerOf(older, "Message-ID");
  row.mailbox = "office";
  row.isOfToday = false;
  row.decision = "from yesterday, left alone";
  return row;
}

std::string gmailHeader(const std::string& raw, const std::string& name) {
  std::string value = headerOf("\n" + raw, name);
  std::erase(value, '\r');
  return value;
}

}  // namespace

DemoOffice::DemoOffice()
    : mail({.users = {{user, password}}}),
      submission({.users = {{user, password}}}),
      providers({.email = gmailUser}, {.email = outlookUser}) {}

std::vector<DemoMailbox> DemoOffice::mailboxes() const {
  return {{"office", std::string(user) + " · IMAP"},
          {"gmail", std::string(gmailUser) + " · Gmail"},
          {"outlook", std::string(outlookUser) + " · Outlook"}};
}

std::vector<std::string> fillCalendar(DemoOffice& office) {
  constexpr int days = 10;
  struct Appointment {
    const char* title;
    int from, to;
  };
  constexpr Appointment daily[] = {{"Stand-up", 9 * 60, 9 * 60 + 30},
                                   {"Sawing in workshop 2", 10 * 60, 11 * 60 + 30},
                                   {"Lunch with the printers", 12 * 60 + 30, 13 * 60 + 30}};
  std::vector<std::string> notes;
  for (const auto& [title, from, to] : daily) {
    for (int day = 1; day <= days; ++day) {
      const auto at = [day](int minutes) {
        return std::chrono::floor<std::chrono::milliseconds>(localTime(day, minutes));
      };
      office.providers.microsoft.addEvent({title, at(from), at(to)});
    }
    char hours[64];
    std::snprintf(hours, sizeof hours, "%02d:%02d to %02d:%02d  ", from / 60, from % 60, to / 60,
                  to % 60);
    notes.push_back(hours + std::string(title));
  }
  return notes;
}

std::vector<DemoRow> deliverSamples(DemoOffice& office) {
  std::vector<DemoRow> rows;
  for (Sample& sample : samplesOf("office", sampleFiles())) {
    office.mail.deliver(DemoOffice::user, sample.message, sample.received);
    rows.push_back(std::move(sample.row));
  }
  rows.push_back(deliverOlder(office));
  for (Sample& sample : samplesOf("gmail", gmailSampleFiles())) {
    const std::string id = office.providers.google.deliver(
        sample.message, gmailLabels(sample.row.messageID), sample.received);
    rows.push_back(arrived(std::move(sample), id));
  }
  for (Sample& sample : samplesOf("outlook", outlookSampleFiles())) {
    const std::string id = office.providers.microsoft.deliver(
        sample.message,
        {.received = sample.received, .inferenceClassification = outlookTab(sample.row.messageID)});
    rows.push_back(arrived(std::move(sample), id));
  }
  return rows;
}

void readBack(const DemoOffice& office, std::vector<DemoRow>& rows) {
  for (DemoRow& row : rows) {
    if (row.mailbox == "office") {
      row.seen = office.mail.seen(DemoOffice::user, row.messageID);
    } else if (row.mailbox == "gmail") {
      row.seen = !office.providers.google.isUnread(row.providerID);
      for (const std::string& label : office.providers.google.labelsOf(row.providerID)) {
        // Gmail's own are in capitals.
        if (std::ranges::any_of(label, [](char c) { return c >= 'a' && c <= 'z'; })) {
          row.tags.push_back(label);
        }
      }
    } else {
      row.seen = office.providers.microsoft.isRead(row.providerID);
      row.tags = office.providers.microsoft.categoriesOf(row.providerID);
    }
  }
}

std::vector<DemoLead> leadsOf(const DemoOffice& office) {
  std::vector<DemoLead> leads;
  const auto add = [&](const char* crm, const char* id, const std::vector<json>& records) {
    for (const json& record : records) {
      DemoLead lead{crm, record.at(id), {}};
      for (const auto& [key, value] : record.items()) {
        if (key != id) lead.fields.emplace_back(key, value.get<std::string>());
      }
      leads.push_back(std::move(lead));
    }
  };
  add("Dynamics 365", "leadid", office.providers.dataverse.leads());
  add("Salesforce", "id", office.providers.salesforce.leads());
  return leads;
}

std::vector<ProviderSent> sentThroughProviders(const DemoOffice& office) {
  std::vector<ProviderSent> sent;
  for (const std::string& raw : office.providers.google.sentMail()) {
    sent.push_back({"Gmail", gmailHeader(raw, "To"), gmailHeader(raw, "Subject")});
  }
  for (const json& body : office.providers.microsoft.sentMail()) {
    const json& message = body.at("message");
    sent.push_back({"Outlook", message.at("/toRecipients/0/emailAddress/address"_json_pointer),
                    message.at("subject")});
  }
  return sent;
}

}  // namespace halcyra::sandbox

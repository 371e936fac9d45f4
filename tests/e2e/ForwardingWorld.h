#pragma once

#include "World.h"
#include "sandbox/SampleMail.h"
#include "sandbox/SubmissionServer.h"

namespace halcyra {

/// A mailbox whose mail is all forwarded.
class ForwardingWorld {
 public:
  explicit ForwardingWorld(ScriptedModel::Answer answer = chosen) : model(std::move(answer)) {
    world.home.addMailbox({.id = "m", .label = "kim@x.org", .port = server.port(), .user = "kim"});
    world.home.addRule("forward", "Forward", "All.", "forwardSilently");
    world.home.settings["rules"].back()["forwardTo"] = "boss@y.org";
    world.home.settings["smtpHost"] = "127.0.0.1";
    world.home.settings["smtpPort"] = submission.port();
    world.home.settings["smtpUseStartTLS"] = false;
    world.home.settings["smtpUsername"] = "kim";
    world.home.settings["llmBaseURL"] = model.baseURL();
    world.home.save();
    world.home.storeSecret("smtp.password", "plum");
  }

  static HttpResponse chosen(const std::string&) { return completion(choice("forward", 0.9)); }
  static std::string idOf(int number) { return "<" + std::to_string(number) + "@x>"; }

  /// So many more messages, numbered on.
  void deliver(int messages) {
    for (const int last = delivered + messages; delivered < last;) {
      const std::string id = idOf(++delivered);
      server.deliver("kim", sandbox::simpleMessage(id, "Note " + id, "Text."));
    }
  }
  std::set<std::string> allDelivered() const {
    std::set<std::string> all;
    for (int number = 1; number <= delivered; ++number) all.insert(idOf(number));
    return all;
  }

  /// Message-IDs that the server holds \Seen for.
  std::set<std::string> marked() const {
    std::set<std::string> ids;
    for (const auto& [id, flags] : server.flags("kim")) {
      if (flags.find('S') != std::string::npos) ids.insert(id);
    }
    return ids;
  }

  /// The Message-ID of each message that went out since this was asked last, as often as it did.
  std::multiset<std::string> newForwards() {
    std::multiset<std::string> ids;
    const auto all = submission.received();
    for (; forwards_ < all.size(); ++forwards_) {
      const std::string& data = all[forwards_].data;
      const std::size_t at = data.find("Note <");
      ids.insert(data.substr(at + 5, data.find('>', at) - at - 4));
    }
    return ids;
  }

  int delivered = 0;
  sandbox::DovecotServer server{{.users = {{"kim", password}}}};
  sandbox::SubmissionServer submission{{.users = {{"kim", "plum"}}}};
  ScriptedModel model;
  World world;

 private:
  std::size_t forwards_ = 0;  // that were told
};

}  // namespace halcyra

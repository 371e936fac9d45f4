#include <gtest/gtest.h>

#include "World.h"
#include "sandbox/SampleMail.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using sandbox::DovecotServer;
using sandbox::simpleMessage;

// Chooses the rule that the subject names, as surely as it says.
HttpResponse bySubject(const std::string& mail) {
  if (mail.find("Subject: unsure") != std::string::npos) return completion(choice("reply", 0.2));
  if (mail.find("Subject: filed") != std::string::npos) return completion(choice("file", 0.9));
  if (mail.find("Subject: odd") != std::string::npos) return completion(choice("no such", 0.9));
  return completion("```json\n" + choice("reply", 0.9, "Of course.") + "\n```");
}

bool decided(const sandbox::ChildProcess& program, const std::string& messageID) {
  std::istringstream lines(program.output());
  for (std::string line; std::getline(lines, line);) {
    const auto event = nlohmann::json::parse(line, nullptr, false);
    if (event.is_object() && event.value("event", "") == "decision" &&
        event.value("messageID", "") == messageID) {
      return true;
    }
  }
  return false;
}

TEST(Triage, TodaysUnreadMailIsHandledOnceAndTheRestIsLeftAlone) {
  DovecotServer server({.users = {{"kim", password}}});
  ScriptedModel model(bySubject);
  World world;
  world.home.addMailbox({.id = "m", .label = "Kim", .port = server.port(), .user = "kim"});
  world.home.settings["llmBaseURL"] = model.baseURL();
  world.home.settings["lowConfidenceAction"] = "skip";
  world.home.save();

  struct Case {
    std::string id, subject, body;
    std::chrono::hours age;
    bool seenBefore;
    std::string outcome;
    bool seen, recorded, askedAgain;
  };
  const std::vector<Case> cases = {
      {"<a@x>", "question", "When?", 0h, false, "actionDone", true, true, false},
      {"<b@x>", "filed", "Receipt.", 0h, false, "actionDone", true, true, false},
      {"<c@x>", "odd", "Hm.", 0h, false, "actionDone", true, true, false},
      {"<d@x>", "unsure", "Hm?", 0h, false, "lowConfidenceSkipped", false, false, true},
      {"<e@x>", "offer", "unsubscribe here", 0h, false, "prefilterSkipped", true, true, false},
      {"<f@x>", "question", "Old.", 25h, false, "", false, false, false},
      {"<g@x>", "question", "Read already.", 0h, true, "", true, false, false},
  };
  for (const Case& c : cases) {
    server.deliver("kim", simpleMessage(c.id, c.subject, c.body),
                   std::chrono::system_clock::now() - c.age, c.seenBefore);
  }

  const auto first = world.onePass();
  EXPECT_EQ(first.status, 0) << first.errors;
  EXPECT_EQ(model.requests(), 4);
  const auto second = world.onePass();
  EXPECT_EQ(second.status, 0) << second.errors;
  EXPECT_EQ(model.requests(), 5);
  const auto recorded = world.recorded();
  ASSERT_TRUE(recorded);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.subject + " " + c.id);
    EXPECT_EQ(first.outcome(c.id), c.outcome);
    EXPECT_EQ(server.seen("kim", c.id), c.seen);
    EXPECT_EQ(recorded->contains(c.id), c.recorded);
    EXPECT_EQ(second.outcome(c.id), c.askedAgain ? c.outcome : "");
  }
  EXPECT_NE(first.output.find("Of course."), std::string::npos);
  EXPECT_NE(first.errors.find("[Halcyra] Prefilter skip (unsubscribe): <e@x>"), std::string::npos);
  EXPECT_NE(first.errors.find("[Halcyra] Unknown rule_id from model: no such; using catch-all."),
            std::string::npos);
  EXPECT_EQ(first.errors.find("Receipt."), std::string::npos) << "mail text in the log";
}

TEST(Triage, TwoMailboxesWaitInIdleAndWakeOnDelivery) {
  DovecotServer server({.users = {{"ann", password}, {"ben", password}}});
  ScriptedModel model(bySubject);
  World world;
  for (const char* user : {"ann", "ben"}) {
    world.home.addMailbox({.id = user, .label = user, .port = server.port(), .user = user});
  }
  world.home.settings["llmBaseURL"] = model.baseURL();
  world.home.settings["pollingIntervalSeconds"] = 15;
  world.home.save();
  server.deliver("ann", simpleMessage("<1@x>", "question", "Now?"));

  sandbox::ChildProcess program(world.home.command({"monitor", "--json"}));
  ASSERT_TRUE(eventually([&] { return server.idles("ann") && server.idles("ben"); }, 20s))
      << program.errors() << server.log();
  EXPECT_TRUE(decided(program, "<1@x>"));
  server.deliver("ann", simpleMessage("<2@x>", "question", "And now?"));
  server.deliver("ben", simpleMessage("<3@x>", "filed", "Paid."));
  // Both leave IDLE, pause for the shortest polling interval, and look again; the IDLE limit is ten
  // minutes away.
  EXPECT_TRUE(eventually([&] { return !server.idles("ann") && !server.idles("ben"); }, 10s));
  EXPECT_TRUE(
      eventually([&] { return decided(program, "<2@x>") && decided(program, "<3@x>"); }, 30s))
      << program.errors();
  EXPECT_TRUE(eventually([&] { return server.idles("ann") && server.idles("ben"); }, 10s));
  for (const char* id : {"<1@x>", "<2@x>"}) EXPECT_TRUE(server.seen("ann", id)) << id;
  EXPECT_TRUE(server.seen("ben", "<3@x>"));
  EXPECT_EQ(model.requests(), 3);

  program.signal(SIGTERM);
  const auto ending = program.wait(5s);
  ASSERT_TRUE(ending) << "SIGTERM in IDLE did not end the program";
  EXPECT_EQ(ending->status, 0);
  EXPECT_FALSE(eventually([&] { return decided(program, "<4@x>"); }, 0s));
}

TEST(Triage, TLSIsRefusedUnlessAuthorityAndHostNameFit) {
  DovecotServer server({.users = {{"kim", password}}, .tlsHostName = "localhost"});
  ScriptedModel model(bySubject);
  struct Case {
    std::string host;
    bool trusted;
    bool works;
  };
  const std::vector<Case> cases = {
      {"localhost", true, true}, {"127.0.0.1", true, false}, {"localhost", false, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.host + (c.trusted ? " trusted" : " unknown authority"));
    World world;
    world.home.addMailbox({.id = "m",
                           .label = "Kim",
                           .host = c.host,
                           .port = server.tlsPort(),
                           .useTLS = true,
                           .user = "kim"});
    world.home.settings["llmBaseURL"] = model.baseURL();
    world.home.save();
    if (c.trusted) world.home.environment["SSL_CERT_FILE"] = server.authorityFile();
    const std::string id = "<" + std::to_string(&c - cases.data()) + "@tls>";
    server.deliver("kim", simpleMessage(id, "filed", "Paid."));

    const auto run = world.onePass();
    EXPECT_EQ(run.status, c.works ? 0 : 1);
    EXPECT_EQ(server.seen("kim", id), c.works);
    EXPECT_EQ(run.errors.find("[Halcyra] IMAP (Kim): ") == std::string::npos, c.works)
        << run.errors;
    EXPECT_EQ(run.errors.find("pass"), std::string::npos) << "the password in " << run.errors;
  }
}

}  // namespace
}  // namespace halcyra

// What leaves the program: forwards, chains of steps, answered suggestions, the test message.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "RawServer.h"
#include "World.h"
#include "mail/OutboundMessages.h"
#include "platform/linux/Descriptor.h"
#include "sandbox/SampleMail.h"
#include "sandbox/SubmissionServer.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using sandbox::ChildProcess;
using sandbox::simpleMessage;
using sandbox::SubmittedMessage;

constexpr const char* user = "kim@x.org";

// The rule whose id is the subject.
HttpResponse bySubject(const std::string& mail) {
  const std::size_t at = mail.find("Subject: ") + 9;
  return completion(choice(mail.substr(at, mail.find('\n', at) - at), 0.9, "Of course."));
}

class Answers : public testing::Test {
 protected:
  Answers() {
    world.home.addMailbox({.id = "m", .label = "Kim", .port = mail.port(), .user = user});
    auto& settings = world.home.settings;
    addForward("forward", "boss@y.org");
    world.home.addRule("chain", "Chain", "Long ones.", "runCustomAutomation");
    settings["rules"].back()["customAutomationId"] = "steps";
    settings["customAutomations"] = {
        {{"id", "steps"},
         {"displayName", "Steps"},
         {"steps",
          {{{"id", "1"}, {"kind", "forwardSilently"}, {"forwardTo", "first@y.org"}},
           {{"id", "2"}, {"kind", "suggestReply"}},
           {{"id", "3"}, {"kind", "forwardAndNotify"}, {"forwardTo", "second@y.org"}}}}}};
    useServer(submission.port());
    world.home.storeSecret("smtp.password", password);
    world.home.storeSecret("llm.apiKey", "key");
  }

  void addForward(const std::string& id, const std::string& to) {
    world.home.addRule(id, id, "Forwards.", "forwardSilently");
    world.home.settings["rules"].back()["forwardTo"] = to;
  }

  void useServer(std::uint16_t port) {
    world.home.settings["smtpHost"] = "127.0.0.1";
    world.home.settings["smtpPort"] = port;
    world.home.settings["smtpUseStartTLS"] = false;
    world.home.settings["llmBaseURL"] = model.baseURL();
    world.home.save();
  }

  void deliver(const std::string& id, const std::string& rule) {
    mail.deliver(user, simpleMessage(id, rule, "Text of " + rule + "."));
  }

  std::vector<std::string> recipients() const {
    std::vector<std::string> to;
    for (const SubmittedMessage& message : submission.received()) to.push_back(message.to);
    return to;
  }

  sandbox::DovecotServer mail{{.users = {{user, password}}}};
  sandbox::SubmissionServer submission{{.users = {{user, password}}}};
  ScriptedModel model{bySubject};
  World world;
};

TEST_F(Answers, ForwardsArriveAsBuiltOnce) {
  deliver("<a@x>", "forward");
  deliver("<b@x>", "chain");
  for (int pass = 1; pass <= 2; ++pass) {
    const auto run = world.onePass();
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(recipients(),
              (std::vector<std::string>{"boss@y.org", "first@y.org", "second@y.org"}));
  }
  EXPECT_TRUE(mail.seen(user, "<a@x>") && mail.seen(user, "<b@x>"));
  EXPECT_EQ(world.recorded(), (std::set<std::string>{"<a@x>", "<b@x>"}));
}

std::string withNetworkLines(const std::string& text) {
  std::string lines;
  for (const char c : text) lines += c == '\n' ? std::string("\r\n") : std::string(1, c);
  return lines;
}

TEST_F(Answers, ForwardArrivesByteForByte) {
  const std::string original = simpleMessage("<a@x>", "forward", "Zürich\n..\n.x");
  mail.deliver(user, original);
  EXPECT_EQ(world.onePass().status, 0);
  const auto received = submission.received();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].user + " " + received[0].from, std::string(user) + " " + user);
  std::string expected =
      buildForwardMessage({.from = user,
                           .to = "boss@y.org",
                           .subject = "forward",
                           .rawMessage = removeRecipientHeaders(withNetworkLines(original))});
  // Nothing is stuffed, so the server takes the first dot of a line for a stuffed one.
  expected.replace(expected.find("..\r\n.x"), 6, ".\r\nx");
  EXPECT_EQ(received[0].data, expected);
}

TEST_F(Answers, CommandsOnStandardInputAnswerSuggestions) {
  deliver("<a@x>", "reply");
  deliver("<b@x>", "reply");
  deliver("<c@x>", "reply");
  ChildProcess program(world.home.command({"monitor", "--json"}));
  std::map<std::string, std::string> keys;
  for (int i = 0; i < 3; ++i) {
    const json event = nextEvent(program, "suggestion");
    ASSERT_TRUE(event.is_object()) << program.errors();
    EXPECT_EQ(event.at("draft"), "Of course.");
    EXPECT_EQ(event.at("ruleOptions").size(), 4u);
    keys[event.at("messageID")] = event.at("key");
  }
  const auto tell = [&](const json& command) {
    program.writeInput(command.dump() + "\n");
    return nextEvent(program, "answer");
  };
  EXPECT_EQ(tell({{"command", "send"}, {"key", keys["<a@x>"]}, {"text", "Yes.\nKim"}})["done"],
            true);
  EXPECT_EQ(tell({{"command", "dismiss"}, {"key", keys["<b@x>"]}})["done"], true);
  const json instead = {
      {"command", "send"}, {"key", keys["<c@x>"]}, {"text", "unused"}, {"ruleId", "forward"}};
  EXPECT_EQ(tell(instead)["done"], true);
  EXPECT_EQ(tell(instead)["done"], false);  // it is gone
  EXPECT_EQ(program.stop(20s).status, 0) << program.errors();

  EXPECT_EQ(recipients(), (std::vector<std::string>{"kim@rowan.example.org", "boss@y.org"}));
  const std::string reply = submission.received()[0].data;
  for (const char* part : {"Subject: Re: reply\r\n", "In-Reply-To: <a@x>\r\n",
                           "References: <a@x>\r\n", "\r\n\r\nYes.\r\nKim\r\n"}) {
    EXPECT_NE(reply.find(part), std::string::npos) << part << reply;
  }
  for (const char* id : {"<a@x>", "<b@x>", "<c@x>"}) EXPECT_TRUE(mail.seen(user, id)) << id;
}

TEST_F(Answers, StopWaitsForAMessageOnItsWay) {
  std::atomic<bool> isTaken = false;
  std::atomic<bool> mayAnswer = false;
  RawServer server([&](RawConnection& peer) {
    for (const char* words : {"220 hi", "250 hi", "334 u", "334 p", "235 in", "250 ok", "250 ok"}) {
      peer.send(std::string(words) + "\r\n");
      peer.line();
    }
    peer.send("354 go\r\n");
    while (peer.line() != ".") continue;
    isTaken = true;
    eventually([&] { return mayAnswer.load(); }, 20s);
    peer.send("250 kept\r\n");
  });
  useServer(server.port());
  deliver("<a@x>", "reply");
  ChildProcess program(world.home.command({"monitor", "--json"}));
  const json suggestion = nextEvent(program, "suggestion");
  ASSERT_TRUE(suggestion.is_object()) << program.errors();
  const json command = {{"command", "send"}, {"key", suggestion["key"]}, {"text", "Yes."}};
  program.writeInput(command.dump() + "\n");
  ASSERT_TRUE(eventually([&] { return isTaken.load(); }, 20s));
  program.signal(SIGTERM);
  EXPECT_EQ(nextEvent(program, "status")["text"], "Stopped");
  EXPECT_FALSE(program.wait(300ms));
  mayAnswer = true;
  EXPECT_EQ(nextEvent(program, "answer")["done"], true);
  const auto ending = program.wait(20s);
  ASSERT_TRUE(ending);
  EXPECT_EQ(ending->status, 0);
}

// As behind a pager that was left, or at a terminal after Ctrl-S.
TEST_F(Answers, OutputThatNobodyReadsDoesNotKeepSignalsFromEndingTheProgram) {
  const std::string pipe = (world.home.dataFolder() / "pipe").string();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const Descriptor reader(open(pipe.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  while (write(reader.get(), "x", 1) == 1) continue;  // until it is full
  deliver("<a@x>", "reply");
  sandbox::Command command = world.home.command({"monitor"});
  command.arguments.insert(command.arguments.begin(), {"sh", "-c", "exec \"$0\" \"$@\" > " + pipe});
  ChildProcess program(command);
  ASSERT_TRUE(eventually([&] { return model.requests() > 0; }, 20s)) << program.errors();
  program.signal(SIGTERM);
  EXPECT_FALSE(program.wait(500ms));
  program.signal(SIGINT);
  const auto ending = program.wait(5s);
  ASSERT_TRUE(ending);
  EXPECT_EQ(ending->status, 0);
  EXPECT_FALSE(mail.seen(user, "<a@x>"));
}

// Under `script` the program has a terminal. Its shell must not stay: it would get Ctrl-C as well.
TEST_F(Answers, CardsAtATerminalTakeLetters) {
  for (const char* id : {"<a@x>", "<b@x>"}) deliver(id, "reply");
  world.home.environment["EDITOR"] = "sed -i s/course/curse/";
  const std::string line = "exec " + world.home.command({"monitor"}).arguments[0] + " monitor";
  sandbox::Command command = world.home.command({});
  command.arguments = {"script", "-qefc", line, "/dev/null"};
  ChildProcess program(command);
  const auto shows = [&](const std::string& text) {
    return program.waitForOutput([&](std::string_view all) { return all.find(text) != all.npos; },
                                 20s);
  };
  EXPECT_TRUE(shows("Of course.")) << program.output();
  EXPECT_TRUE(shows("2 suggestions wait")) << program.output();
  program.writeInput("e\n");
  EXPECT_TRUE(shows("Sent.")) << program.output();
  program.writeInput("r\n2\n");
  EXPECT_TRUE(shows("Consider as: Reply")) << program.output();
  program.writeInput("n\n");
  program.writeInput("\x03");  // Ctrl-C
  const auto ending = program.wait(20s);
  ASSERT_TRUE(ending);
  EXPECT_EQ(ending->status, 0) << program.output();
  const auto received = submission.received();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_TRUE(received[0].data.ends_with("Of curse.\r\n")) << received[0].data;
}

// A server that ends the dialogue after its nth line; the client talks on until it notices.
RawServer endingAfter(int lines, std::atomic<int>& bodies) {
  return RawServer([lines, &bodies](RawConnection& peer) {
    const std::vector<std::string> script = {"220 hi", "250 hi", "334 u",  "334 p",
                                             "235 in", "250 ok", "250 ok", "354 go"};
    for (int i = 0; i < lines; ++i) {
      if (i > 0) peer.line();
      peer.send(script[static_cast<std::size_t>(i)] + "\r\n");
    }
    if (lines < 8) return;
    while (peer.line() != ".") continue;
    ++bodies;  // taken, and the answer never comes
  });
}

TEST_F(Answers, ServerThatGoesAwayLeavesTheMessageForTheNextPass) {
  deliver("<a@x>", "forward");
  for (int lines = 0; lines <= 8; ++lines) {
    SCOPED_TRACE(lines);
    std::atomic<int> bodies = 0;
    RawServer server = endingAfter(lines, bodies);
    useServer(server.port());
    const auto run = world.onePass();
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(server.connections(), 1);
    EXPECT_EQ(run.outcome("<a@x>"), "actionFailed");
    EXPECT_NE(run.errors.find("[Halcyra] Forward failed: "), std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.find("pass \""), std::string::npos);
    EXPECT_FALSE(mail.seen(user, "<a@x>"));
  }
  useServer(submission.port());
  EXPECT_EQ(world.onePass().outcome("<a@x>"), "actionDone");
  EXPECT_EQ(recipients(), std::vector<std::string>{"boss@y.org"});
}

TEST_F(Answers, TestMessageTellsItsWayOrWhyThereIsNone) {
  auto run = world.run({"send-test", "--mailbox", "m", "--to", "Ann <ann@y.org>"});
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.output, "sent to Ann <ann@y.org> through the SMTP server 127.0.0.1:" +
                            std::to_string(submission.port()) +
                            ", not encrypted, as user kim@x.org\n");
  EXPECT_EQ(recipients(), std::vector<std::string>{"ann@y.org"});

  world.home.settings["smtpHost"] = "";
  world.home.save();
  run = world.run({"send-test", "--mailbox", "m", "--to", "ann@y.org"});
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.errors.find("halcyra-cli: the test failed: Configure SMTP for this mailbox"),
            std::string::npos)
      << run.errors;
  for (const std::string to : {"<>", "a@", "@b", "a@b, c@d", "nonsense"}) {
    EXPECT_EQ(world.run({"send-test", "--mailbox", "m", "--to", to}).errors,
              "halcyra-cli: \"" + to + "\" is not one mail address\n");
  }
  EXPECT_EQ(world.run({"send-test", "--mailbox", "no", "--to", "a@b"}).status, 1);
  EXPECT_EQ(world.run({"send-test", "--mailbox", "m"}).status, 2);
}

TEST_F(Answers, SuggestPrintsADraft) {
  const std::string message = simpleMessage("<a@x>", "reply", "When?");
  EXPECT_EQ(world.run({"suggest", "--mailbox", "m"}, message).output, "Of course.\n");
  // Without a mailbox the model is asked for a draft alone, and this one answers in JSON.
  EXPECT_NE(world.run({"suggest", "-"}, message).output.find("draft_reply"), std::string::npos);
  EXPECT_EQ(world.run({"suggest", "--mailbox", "no"}, message).status, 1);
}

}  // namespace
}  // namespace halcyra

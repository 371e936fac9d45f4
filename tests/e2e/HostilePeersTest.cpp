#include <gtest/gtest.h>

#include <memory>

#include "RawServer.h"
#include "World.h"
#include "sandbox/SampleMail.h"

namespace halcyra {
namespace {

using namespace std::chrono_literals;
using sandbox::DovecotServer;
using sandbox::simpleMessage;

constexpr std::size_t fewBytes = 160u << 20;

void sayForever(RawConnection& peer, std::string_view start) {
  if (!peer.send(start)) return;
  const std::string more(1 << 16, 'a');
  while (peer.send(more)) {
  }
}

// Takes the request before the answer, so that the peer sees the answer and not a reset.
void readRequest(RawConnection& peer) {
  std::size_t length = 0;
  for (std::string line; !(line = peer.line()).empty();) {
    if (line.starts_with("Content-Length: ")) length = std::stoul(line.substr(16));
  }
  EXPECT_GT(length, 0u);
}

struct ModelCase {
  std::string name;
  std::string status;
  std::function<void(RawConnection&)> body;
};

TEST(HostilePeers, AModelThatFailsCostsALogLineAndNothingElse) {
  const auto text = [](std::string body) {
    return [body](RawConnection& peer) { peer.send("\r\n" + body); };
  };
  const std::vector<ModelCase> cases = {
      {"500", "500 Oops", text("{\"error\":\"no\"}")},
      {"HTML", "200 OK", text("<!DOCTYPE html><p>Log in to the hotel network</p>")},
      {"half JSON", "200 OK", text("{\"choices\":[{\"message\":{\"con")},
      {"empty", "200 OK", text("")},
      {"200 MB", "200 OK", [](RawConnection& peer) { sayForever(peer, "\r\n{\"choices\":\""); }},
      {"announced and never sent", "200 OK", text("{")},
      {"no HTTP", "", [](RawConnection& peer) { peer.send("* OK IMAP4rev1 ready\r\n"); }},
      {"closed", "", [](RawConnection&) {}},
  };
  DovecotServer server({.users = {{"kim", password}}});
  ScriptedModel goodModel([](const std::string&) { return completion(choice("file", 0.9)); });
  World world;
  world.home.addMailbox({.id = "m", .label = "Kim", .port = server.port(), .user = "kim"});
  server.deliver("kim", simpleMessage("<1@x>", "one", "One."));
  server.deliver("kim", simpleMessage("<2@x>", "two", "Two."));
  for (const ModelCase& c : cases) {
    SCOPED_TRACE(c.name);
    RawServer model([&](RawConnection& peer) {
      readRequest(peer);
      if (!c.status.empty()) peer.send("HTTP/1.1 " + c.status + "\r\nConnection: close\r\n");
      if (c.name.starts_with("announced")) peer.send("Content-Length: 5000\r\n");
      c.body(peer);
    });
    world.home.settings["llmBaseURL"] = "http://127.0.0.1:" + std::to_string(model.port());
    world.home.save();
    const auto run = world.onePass();
    EXPECT_EQ(run.status, 0) << run.errors;
    const std::size_t first = run.errors.find("[Halcyra] LLM error: ");
    EXPECT_NE(first, std::string::npos) << run.errors;
    EXPECT_NE(run.errors.find("[Halcyra] LLM error: ", first + 1), std::string::npos)
        << "the second message was not tried";
    EXPECT_EQ(run.outcome("<1@x>"), "modelFailed");
    EXPECT_FALSE(server.seen("kim", "<1@x>") || server.seen("kim", "<2@x>"));
    EXPECT_EQ(world.recorded(), std::set<std::string>{});
    EXPECT_LT(run.peakBytes, fewBytes);
  }
  world.home.settings["llmBaseURL"] = goodModel.baseURL();
  world.home.save();
  EXPECT_EQ(world.onePass().status, 0);
  EXPECT_TRUE(server.seen("kim", "<1@x>") && server.seen("kim", "<2@x>"));
}

// Up to the answer to UID FETCH, as a polite server.
void politeUntilFetch(RawConnection& peer, const std::string& answer) {
  peer.send("* OK ready\r\n");
  for (std::string line; !(line = peer.line()).empty();) {
    const std::string tag = line.substr(0, line.find(' '));
    if (line.find("SEARCH") != std::string::npos) peer.send("* SEARCH 7\r\n");
    if (line.find("FETCH") != std::string::npos && !peer.send(answer)) return;
    peer.send(tag + " OK done\r\n");
  }
}

struct ServerCase {
  std::string label;
  RawServer::Script script;
  std::string logLine;
};

TEST(HostilePeers, IMAPServersCostALogLineEachAndTheNextPassGoesOn) {
  const auto says = [](std::string text) {
    return [text](RawConnection& peer) {
      peer.send(text);
      peer.line();  // until the client goes
    };
  };
  const std::vector<ServerCase> cases = {
      {"literal", says("* OK {10737418240}\r\nabc"), "IMAP (literal): "},
      {"endless", [](RawConnection& peer) { sayForever(peer, "* OK "); }, "IMAP (endless): "},
      {"utf8", says("* OK \xff\xfe\r\n"), "IMAP (utf8): Invalid UTF-8"},
      {"bye", [](RawConnection& peer) { peer.send("* BYE no\r\n"); },
       "IMAP (bye): IMAP connection failed."},
      {"closed", [](RawConnection&) {}, "IMAP (closed): IMAP connection failed."},
      {"refused",
       [](RawConnection& peer) {
         peer.send("* OK ready\r\n");
         peer.line();
         peer.send("E1 NO wrong password\r\n");
       },
       "IMAP (refused): E1 NO wrong password"},
      {"fetched",
       [](RawConnection& peer) {
         politeUntilFetch(peer, "* 1 FETCH (UID 7 BODY[] {10737418240}\r\nabc");
       },
       "IMAP uid 7: "},
  };
  ScriptedModel model([](const std::string&) { return completion(choice("file", 0.9)); });
  World world;
  std::vector<std::unique_ptr<RawServer>> servers;
  for (const ServerCase& c : cases) {
    servers.push_back(std::make_unique<RawServer>(c.script));
    world.home.addMailbox(
        {.id = c.label, .label = c.label, .port = servers.back()->port(), .user = "kim"});
  }
  world.home.settings["pollingIntervalSeconds"] = 1;
  world.home.settings["llmBaseURL"] = model.baseURL();
  world.home.save();

  sandbox::ChildProcess program(world.home.command({"monitor", "--json"}));
  // The shortest polling interval is 15 seconds.
  EXPECT_TRUE(eventually(
      [&] {
        return std::all_of(servers.begin(), servers.end(),
                           [](const auto& server) { return server->connections() >= 2; });
      },
      60s));
  program.signal(SIGTERM);
  const auto ending = program.wait(15s);
  ASSERT_TRUE(ending);
  EXPECT_EQ(ending->status, 0);
  EXPECT_LT(ending->peakBytes, fewBytes);
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_GE(servers[i]->connections(), 2) << cases[i].label;
    EXPECT_NE(program.errors().find("[Halcyra] " + cases[i].logLine), std::string::npos)
        << cases[i].label << " in\n"
        << program.errors();
  }
}

}  // namespace
}  // namespace halcyra

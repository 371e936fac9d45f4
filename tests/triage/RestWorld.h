#pragma once

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "signin/SignInWorld.h"
#include "support/MemoryFiles.h"
#include "support/RecordingLog.h"
#include "support/RunTask.h"
#include "triage/ProviderMailbox.h"
#include "triage/RestPass.h"

namespace halcyra {

/// The real clients of Gmail and Graph over a transport that answers by request. What happens is
/// noted in `effects`, in its order: requests without the part of the address that all share, log
/// lines, statuses and mails handed over.
struct RestWorld {
  struct Routes : HttpClient {
    explicit Routes(std::vector<std::string>& effects) : effects_(effects) {}

    Task<HttpResponse> perform(HttpRequest request) override {
      const std::string shared = "https://" + request.url.substr(8, 1) +
                                 (request.url[8] == 'g' ? "/gmail/v1/users/me" : "/v1.0/me");
      EXPECT_TRUE(request.url.starts_with(shared)) << request.url;
      EXPECT_EQ(request.headers.at(0), (HttpHeader{"Authorization", "Bearer T"}));
      const std::string line = request.method + " " + request.url.substr(shared.size());
      effects_.push_back(line + (request.body.empty() ? "" : " " + request.body));
      const auto route = answers.find(line);
      if (route == answers.end()) throw std::runtime_error("no answer");
      co_return route->second;
    }

    std::map<std::string, HttpResponse> answers;

   private:
    std::vector<std::string>& effects_;
  };

  struct NotingLog : Log {
    explicit NotingLog(std::vector<std::string>& effects) : effects_(effects) {}
    void write(const std::string& line, const LogFields&) override {
      effects_.push_back("log " + line.substr(std::string("[Halcyra] ").size()));
    }

   private:
    std::vector<std::string>& effects_;
  };

  explicit RestWorld(Kind kind) {
    account = {.id = "box", .displayLabel = "me@x", .kind = std::move(kind)};
    signIn.store.saveCredential(
        {.accessToken = "T", .refreshToken = std::nullopt, .expiresAt = signIn.in(3600)}, "box");
  }

  RestWorld& answer(const std::string& request, const std::string& body, int status = 200) {
    http.answers[request] = HttpResponse{status, {}, body};
    return *this;
  }

  RestPassContext context() {
    return {.account = account,
            .config = config,
            .stop = stop.get_token(),
            .clients = clients,
            .marking = marking,
            .processed = processed,
            .log = log,
            .process = [this](ParsedMail mail) { return take(std::move(mail)); }};
  }

  Task<bool> take(ParsedMail mail) {
    EXPECT_EQ(mail.accountId, account.id);
    effects.push_back("process " + mail.providerRESTId.value_or("-") + " " +
                      std::to_string(mail.uid) + " " + mail.subject + ": " + mail.bodyText);
    if (stopsAfterOne) stop.request_stop();
    co_return false;
  }

  PassResult gmailPass() { return runTask(runGmailPass(context())); }

  PassResult graphPass(const std::string& clientId = "m-id") {
    return runTask(runGraphPass({.rest = context(),
                                 .clientId = clientId,
                                 .clock = signIn.clock,
                                 .notices = notices,
                                 .tellStatus = [this](std::string text, bool isError) {
                                   return noteStatus(std::move(text), isError);
                                 }}));
  }

  Task<void> noteStatus(std::string text, bool isError) {
    effects.push_back((isError ? "error " : "status ") + text);
    co_return;
  }

  std::vector<std::string> takeEffects() { return std::exchange(effects, {}); }

  bool isRecorded(const std::string& key) const { return processed.contains("box\x1E" + key); }

  std::vector<std::string> effects;
  SignInWorld signIn;
  Routes http{effects};
  NotingLog log{effects};
  GmailLabelCache labels;
  GmailAPIClient gmail{http, signIn.clock, labels, Endpoints{.google = "https://g"}};
  GraphMailClient graph{http, signIn.clock, log, Endpoints{.graph = "https://m"}};
  ProviderClients clients{signIn.tokens, gmail, graph};
  ProviderMailbox marking{clients};
  MemoryFiles files;
  ProcessedMessageStore processed{files, "/data"};
  MailAccount account;
  AppConfig config;
  std::stop_source stop;
  MissingClientIdNotices notices;
  bool stopsAfterOne = false;
};

}  // namespace halcyra

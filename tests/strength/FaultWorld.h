#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "FaultyConnector.h"
#include "FaultyRelay.h"
#include "PersonAtBrowser.h"
#include "SocketMailServers.h"
#include "app/AppState.h"
#include "app/Providers.h"
#include "config/ConfigStore.h"
#include "platform/linux/CurlHttpClient.h"
#include "sandbox/ProviderServers.h"
#include "support/IMAPDouble.h"
#include "support/MemoryFiles.h"
#include "support/MemoryKeychain.h"
#include "support/RecordingLog.h"
#include "support/SubmissionDouble.h"
#include "support/ZonedClock.h"

namespace halcyra {

enum class Peer { mailServer, model, google, microsoft, dataverse, salesforce, browser };

/// What the bytes between the program and the mail servers go through.
enum class Carrier { memory, sockets, tls };

/// What a pass over a mailbox talks about, and whose connections the fault may strike.
struct Exchange {
  const char* name;
  /// "imap", "gmail" or "graph".
  const char* mailbox;
  /// The id of the rule that the model chooses.
  const char* rule;
  std::set<Peer> faulty;
  /// So many forwards and leads come of a message.
  std::size_t sendsEach = 1;
  Carrier carrier = Carrier::memory;
};

/// HTTP through curl, where a silence that the wire causes takes no time.
class HastyHttp : public HttpClient {
 public:
  explicit HastyHttp(Executor executor) : executor_(std::move(executor)) {}

  Task<HttpResponse> perform(HttpRequest request) override {
    if (onRequest) onRequest();
    isSilent_ = false;
    if (patience) request.timeout = *patience;
    return curl_.perform(std::move(request));
  }

  /// The peer of the request that is under way will say nothing any more. Any thread may call.
  void fallSilent() {
    isSilent_ = true;
    // Curl looks at the clock when it has something to do.
    boost::asio::co_spawn(executor_, curl_.perform({.url = "http://127.0.0.1:1/"}),
                          [](std::exception_ptr, HttpResponse) {});
  }

  /// Happens before each request.
  std::function<void()> onRequest;
  /// The longest silence of any other cause.
  std::optional<std::chrono::milliseconds> patience;

 private:
  Executor executor_;
  std::atomic<bool> isSilent_ = false;
  CurlHttpClient curl_{
      [this] { return std::chrono::steady_clock::now() + std::chrono::hours(isSilent_ ? 1 : 0); }};
};

/// The whole application without a face, its files in memory, with peers that are real
/// servers on loopback ports (the mail servers: in memory). The peers of the exchange are reached
/// over a wire with a fault.
class FaultWorld : SuggestionPresenter, TriageObserver, Notifications {
 public:
  /// Noon in the process's time zone.
  static TimePoint noon();

  explicit FaultWorld(const Exchange& exchange, Fault fault = {}, TimePoint start = noon());

  void pass();
  /// From now on nothing is struck. A connection on which a length was struck may hold an answer
  /// too many, so all begin anew.
  void heal();
  /// What a user does when the tokens are of no use.
  void signIn();

  /// Puts one more message into the mailbox, received at this moment.
  void deliver();

  /// The whole sign-in at the exchange's provider. Gives the failure's text, or nothing.
  std::string signInByBrowser();
  /// What is stored of that sign-in.
  std::string credential();

  /// Message-IDs of all that was delivered, is marked at the server, is on record.
  std::set<std::string> messages() const;
  std::set<std::string> seen() const;
  std::set<std::string> recorded() const;
  /// How often what went out: "forward of <11@x>", by whatever way, or a lead.
  std::map<std::string, int> sent() const;
  std::size_t crossed() const { return wire_.crossed(); }
  std::vector<std::string> log() const { return log_.lines(); }
  ZonedClock& clock() { return clock_; }
  HastyHttp& http() { return http_; }

 private:
  /// Both mail servers behind one connector.
  struct MailServers : StreamConnector {
    MailServers(IMAPDouble& imap, SubmissionDouble& smtp) : imap_(imap), smtp_(smtp) {}
    Task<std::unique_ptr<ByteStream>> connect(Endpoint endpoint) override {
      return endpoint.port == 143 ? imap_.connect(std::move(endpoint))
                                  : smtp_.connect(std::move(endpoint));
    }
    IMAPDouble& imap_;
    SubmissionDouble& smtp_;
  };

  StreamConnector& mailConnector();
  bool arrivesAt(std::string_view mailbox) const { return exchange_.mailbox == mailbox; }
  bool isSeen(const std::string& providerId) const;
  std::string addressOf(Peer peer, const sandbox::LoopbackHttpServer& server);
  Endpoints endpoints();
  AppConfig config();
  AppServices services();
  Task<void> signInAtProvider();

  void present(Suggestion) override {}
  void decided(const TriageDecision&) override {}
  Task<bool> post(std::string, std::string) override { co_return false; }

  const Exchange exchange_;
  Wire wire_;
  sandbox::ProviderServers servers_;
  sandbox::LoopbackHttpServer model_;
  std::vector<std::unique_ptr<FaultyRelay>> relays_;
  const Endpoints endpoints_ = endpoints();
  IMAPDouble imap_;
  SubmissionDouble smtp_;
  std::uint32_t delivered_ = 0;
  std::vector<std::string> providerIds_;
  MailServers mailServers_{imap_, smtp_};
  FaultyConnector faultyMailServers_{mailServers_, wire_};
  boost::asio::io_context context_;
  mutable std::mutex mailLock_;  // for the messages of both mail servers
  std::optional<SocketMailServers> sockets_;
  PersonAtBrowser person_{context_.get_executor()};
  MemoryFiles files_;
  MemoryKeychain keychain_;
  KeychainEnvelopeStorage storage_{keychain_};
  KeychainHelper secrets_;
  ConfigStore configStore_{files_, storage_, "/data"};
  ProcessedMessageStore processed_{files_, "/data"};
  ZonedClock clock_;
  RecordingLog log_;
  HastyHttp http_{context_.get_executor()};
  Providers providers_;
  AppState state_;
};

}  // namespace halcyra

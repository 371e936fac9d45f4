#include "app/Composition.h"

#include <boost/asio/co_spawn.hpp>
#include <exception>
#include <utility>

#include "platform/linux/CurlHttpClient.h"
#include "platform/linux/DBusNotifications.h"
#include "platform/linux/OpenKeychain.h"
#include "platform/linux/PosixFileStore.h"
#include "platform/linux/SocketConnector.h"
#include "platform/linux/SocketListener.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/XdgBrowser.h"

namespace halcyra {
namespace {

// One that waits for what a person types, an editor, and notifications.
constexpr std::size_t blockingThreads = 4;

std::filesystem::path ownExecutable() {
  std::error_code failure;
  return std::filesystem::read_symlink("/proc/self/exe", failure);
}

}  // namespace

IoThread::IoThread()
    : work_(boost::asio::make_work_guard(context_)), thread_([this] { context_.run(); }) {}

IoThread::~IoThread() {
  stop();
}

void IoThread::stop() {
  context_.stop();
  if (thread_.joinable()) thread_.join();
}

Composition::Composition(Variables variables, std::filesystem::path installedInfo)
    : variables_(std::move(variables)), installedInfo_(std::move(installedInfo)) {}

Composition::~Composition() {
  if (io_) io_->stop();  // before anything goes that a task there may still use
}

const Paths& Composition::paths() {
  if (!paths_) paths_ = pathsFrom(variables_);
  return *paths_;
}

FileStore& Composition::files() {
  if (!files_) files_ = std::make_unique<PosixFileStore>();
  return *files_;
}

Clock& Composition::clock() {
  if (!clock_) clock_ = std::make_unique<SystemClock>();
  return *clock_;
}

StreamConnector& Composition::connector() {
  if (!connector_) connector_ = std::make_unique<SocketConnector>(ioExecutor());
  return *connector_;
}

HttpClient& Composition::http() {
  if (!http_) http_ = std::make_unique<CurlHttpClient>();
  return *http_;
}

Executor Composition::blockingExecutor() {
  if (!blocking_) blocking_ = std::make_unique<boost::asio::thread_pool>(blockingThreads);
  return blocking_->get_executor();
}

Notifications& Composition::notifications() {
  if (!notifications_) notifications_ = std::make_unique<DBusNotifications>(blockingExecutor());
  return *notifications_;
}

KeychainEnvelopeStorage& Composition::secretStorage() {
  if (!secretStorage_) {
    keychain_ = openKeychain(KeychainEnvelopeStorage::serviceName, files(), paths().settings,
                             variables_("HALCYRA_KEYCHAIN").value_or(""),
                             [this](const std::string& notice) { keychainNotice_ = notice; });
    secretStorage_ = std::make_unique<KeychainEnvelopeStorage>(*keychain_);
  }
  return *secretStorage_;
}

KeychainHelper& Composition::secrets() {
  if (!secrets_) {
    KeychainEnvelopeStorage& storage = secretStorage();
    secrets_ = std::make_unique<KeychainHelper>(
        storage, readBuildValues(files(), variables_, ownExecutable(), installedInfo_));
  }
  return *secrets_;
}

ConfigStore& Composition::configStore() {
  if (!configStore_) {
    configStore_ = std::make_unique<ConfigStore>(files(), secretStorage(), paths().settings);
  }
  return *configStore_;
}

ProcessedMessageStore& Composition::processed() {
  if (!processed_) {
    processed_ = std::make_unique<ProcessedMessageStore>(files(), paths().settings);
  }
  return *processed_;
}

Providers& Composition::providers(Log& log) {
  if (!providers_) {
    listener_ = std::make_unique<SocketListener>(main_.get_executor());
    browser_ = std::make_unique<XdgBrowser>();
    providers_ = std::make_unique<Providers>(
        ProviderServices{.http = http(),
                         .clock = clock(),
                         .secrets = secrets(),
                         .processed = processed(),
                         .listener = *listener_,
                         .browser = *browser_,
                         .log = log,
                         .blocking = blockingExecutor(),
                         .endpoints = readEndpoints(files(), variables_)});
  }
  return *providers_;
}

IoThread& Composition::io() {
  if (!io_) io_ = std::make_unique<IoThread>();
  return *io_;
}

int Composition::run(Task<int> task) {
  std::exception_ptr failure;
  int result = 1;
  boost::asio::co_spawn(main_, std::move(task), [&](std::exception_ptr error, int value) {
    failure = error;
    result = value;
    main_.stop();
  });
  main_.restart();
  main_.run();
  if (failure) std::rethrow_exception(failure);
  return result;
}

}  // namespace halcyra

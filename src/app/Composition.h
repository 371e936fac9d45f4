#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "app/Environment.h"
#include "app/Providers.h"
#include "config/ConfigStore.h"
#include "config/KeychainEnvelopeStorage.h"
#include "config/KeychainHelper.h"
#include "config/ProcessedMessageStore.h"
#include "platform/ByteStream.h"
#include "platform/Clock.h"
#include "platform/FileStore.h"
#include "platform/HttpClient.h"
#include "platform/Keychain.h"
#include "platform/Notifications.h"
#include "platform/Task.h"

namespace halcyra {

/// The one thread that sockets, timers and transfers live on. It runs while the object lives.
class IoThread {
 public:
  IoThread();
  ~IoThread();
  IoThread(const IoThread&) = delete;
  IoThread& operator=(const IoThread&) = delete;

  Executor executor() { return context_.get_executor(); }

  /// Ends the thread. What is under way stays suspended until the object goes.
  void stop();

 private:
  boost::asio::io_context context_{1};
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
  std::thread thread_;
};

/// The program's long-lived objects and the adapters under them, connected once. Each is built when
/// it is first asked for, so a command that only reads a file opens neither keychain nor settings.
/// One thread, the one that calls `run`, asks for objects; an object lives as long as the
/// composition.
class Composition {
 public:
  /// `installedInfo` is where the build values are installed.
  Composition(Variables variables, std::filesystem::path installedInfo);
  ~Composition();
  Composition(const Composition&) = delete;
  Composition& operator=(const Composition&) = delete;

  const Variables& variables() const { return variables_; }

  /// Throws EnvironmentError.
  const Paths& paths();
  FileStore& files();
  Clock& clock();
  /// Its connections are made and used on `ioExecutor` only.
  StreamConnector& connector();
  Executor ioExecutor() { return io().executor(); }
  /// Threads that may wait. Work there ends before the composition does.
  Executor blockingExecutor();
  HttpClient& http();
  /// Google, Microsoft and Salesforce. Made once, logging to `log`, which outlives their use.
  /// Throws as `secrets` and `readEndpoints`.
  Providers& providers(Log& log);
  Notifications& notifications();
  /// Throws when the settings folder or the choice of a keychain is unclear.
  KeychainEnvelopeStorage& secretStorage();
  /// Throws as `secretStorage`, and when the build values cannot be read.
  KeychainHelper& secrets();
  /// Loads the configuration, which creates the file on the first run.
  ConfigStore& configStore();
  ProcessedMessageStore& processed();

  /// The context behind the main executor, which owns all mutable state. Whoever calls `run` runs
  /// it.
  boost::asio::io_context& mainContext() { return main_; }

  /// A sentence for the user about where secrets are kept, when that is not the desktop's keychain.
  const std::string& keychainNotice() const { return keychainNotice_; }

  /// Runs the main executor until the task ends. Gives its result or rethrows. What the task has
  /// started there and left is not waited for.
  int run(Task<int> task);

 private:
  IoThread& io();

  Variables variables_;
  std::filesystem::path installedInfo_;
  std::string keychainNotice_;
  // Destroyed in reverse: an object goes before what it was built on, and a suspended task of the
  // I/O context before the main context, to which it reports.
  boost::asio::io_context main_{1};
  std::optional<Paths> paths_;
  std::unique_ptr<FileStore> files_;
  std::unique_ptr<IoThread> io_;
  std::unique_ptr<Clock> clock_;
  std::unique_ptr<StreamConnector> connector_;
  std::unique_ptr<HttpClient> http_;
  std::unique_ptr<boost::asio::thread_pool> blocking_;
  std::unique_ptr<Notifications> notifications_;
  std::unique_ptr<Keychain> keychain_;
  std::unique_ptr<KeychainEnvelopeStorage> secretStorage_;
  std::unique_ptr<KeychainHelper> secrets_;
  std::unique_ptr<ConfigStore> configStore_;
  std::unique_ptr<ProcessedMessageStore> processed_;
  std::unique_ptr<LoopbackListener> listener_;
  std::unique_ptr<Browser> browser_;
  std::unique_ptr<Providers> providers_;
};

}  // namespace halcyra

#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "platform/linux/CurlTransfer.h"

namespace halcyra {

/// Runs transfers on one thread with libcurl's multi interface, which starts with the first of
/// them. Any thread may submit.
class CurlEngine {
 public:
  /// Called once on the engine's thread.
  using Completion = std::function<void(CurlOutcome)>;
  /// Tells what time it is on the engine's thread.
  using Now = std::function<std::chrono::steady_clock::time_point()>;

  /// Silences are measured by `now`.
  explicit CurlEngine(Now now);
  ~CurlEngine();
  CurlEngine(const CurlEngine&) = delete;
  CurlEngine& operator=(const CurlEngine&) = delete;

  void submit(std::unique_ptr<CurlTransfer> transfer, Completion completion);

 private:
  struct Job {
    std::unique_ptr<CurlTransfer> transfer;
    Completion completion;
  };

  bool start();
  void run();
  bool takeSubmitted();
  void begin(Job job);
  void finishEnded();
  void endSilent();
  int millisecondsOfPatience() const;
  void abandonAll();

  const Now now_;
  std::unique_ptr<CURLSH, CurlFree<&CurlLibrary::shareCleanup>> tlsSessions_;
  std::unique_ptr<CURLM, CurlFree<&CurlLibrary::multiCleanup>> multi_;
  std::unordered_map<CURL*, Job> underWay_;  // of the engine's thread

  std::mutex mutex_;  // guards what follows
  std::vector<Job> submitted_;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace halcyra

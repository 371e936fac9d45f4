#include "platform/linux/CurlEngine.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <system_error>
#include <utility>

namespace halcyra {

CurlEngine::CurlEngine(Now now) : now_(std::move(now)) {}

CurlEngine::~CurlEngine() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  libcurl().multiWakeup(multi_.get());
  thread_.join();
}

void CurlEngine::submit(std::unique_ptr<CurlTransfer> transfer, Completion completion) {
  {
    const std::lock_guard lock(mutex_);
    if (!thread_.joinable() && !start()) {
      return completion(transfer->finished(CURLE_FAILED_INIT));
    }
    submitted_.push_back({std::move(transfer), std::move(completion)});
  }
  libcurl().multiWakeup(multi_.get());
}

// False when the system has no memory, descriptor or thread for it; the next transfer tries again.
bool CurlEngine::start() {
  tlsSessions_.reset(libcurl().shareInit());
  multi_.reset(libcurl().multiInit());
  // A handle without descriptors for its wake-up seems sound, and then sleeps for ever.
  if (!tlsSessions_ || !multi_ || libcurl().multiWakeup(multi_.get()) != CURLM_OK) return false;
  // Idle connections that are kept: a few hosts of each provider, the model, a CRM.
  libcurl().multiSetopt(multi_.get(), CURLMOPT_MAXCONNECTS, 16L);
  // Only the engine's thread touches the share, so it needs no locks.
  libcurl().shareSetopt(tlsSessions_.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

void CurlEngine::run() {
  while (takeSubmitted()) {
    int running = 0;
    libcurl().multiPerform(multi_.get(), &running);
    finishEnded();
    endSilent();
    // Ends earlier at libcurl's own timers, at traffic and at a wake-up.
    libcurl().multiPoll(multi_.get(), nullptr, 0, millisecondsOfPatience(), nullptr);
  }
  abandonAll();
}

// False once the engine is to stop.
bool CurlEngine::takeSubmitted() {
  std::vector<Job> jobs;
  {
    const std::lock_guard lock(mutex_);
    if (stopping_) return false;
    jobs.swap(submitted_);
  }
  for (Job& job : jobs) begin(std::move(job));
  return true;
}

void CurlEngine::begin(Job job) {
  CURL* const handle = job.transfer->handle();
  libcurl().easySetopt(handle, CURLOPT_SHARE, tlsSessions_.get());
  if (libcurl().multiAddHandle(multi_.get(), handle) == CURLM_OK) {
    underWay_.emplace(handle, std::move(job));
  } else {
    job.completion(job.transfer->finished(CURLE_FAILED_INIT));
  }
}

void CurlEngine::finishEnded() {
  int left = 0;
  while (const CURLMsg* message = libcurl().multiInfoRead(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    CURL* const handle = message->easy_handle;
    libcurl().multiRemoveHandle(multi_.get(), handle);
    auto job = underWay_.extract(handle);
    job.mapped().completion(job.mapped().transfer->finished(code));
  }
}

// libcurl itself only knows a limit for a whole transfer, and one of speed in whole seconds.
void CurlEngine::endSilent() {
  const auto now = now_();
  for (auto at = underWay_.begin(); at != underWay_.end();) {
    if (at->second.transfer->givenUpAt() > now) {
      ++at;
      continue;
    }
    libcurl().multiRemoveHandle(multi_.get(), at->first);
    at->second.completion(at->second.transfer->timedOut());
    at = underWay_.erase(at);
  }
}

int CurlEngine::millisecondsOfPatience() const {
  using std::chrono::milliseconds;
  milliseconds patience(std::numeric_limits<int>::max());
  const auto now = now_();
  for (const auto& [handle, job] : underWay_) {
    const auto left = std::chrono::ceil<milliseconds>(job.transfer->givenUpAt() - now);
    patience = std::clamp(left, milliseconds(0), patience);
  }
  return static_cast<int>(patience.count());
}

void CurlEngine::abandonAll() {
  for (auto& [handle, job] : underWay_) {
    libcurl().multiRemoveHandle(multi_.get(), handle);
    job.completion(job.transfer->abandoned());
  }
  underWay_.clear();
  const std::lock_guard lock(mutex_);
  for (Job& job : submitted_) job.completion(job.transfer->abandoned());
  submitted_.clear();
}

}  // namespace halcyra

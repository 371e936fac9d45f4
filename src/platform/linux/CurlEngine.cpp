#include "platform/linux/CurlEngine.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace halcyra {
namespace {

void prepareLibrary() {
  static const CURLcode prepared = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (prepared != CURLE_OK) {
    throw std::runtime_error(std::string("libcurl: ") + curl_easy_strerror(prepared));
  }
}

}  // namespace

CurlEngine::CurlEngine(Now now) : now_(std::move(now)) {
  prepareLibrary();
  tlsSessions_.reset(curl_share_init());
  multi_.reset(curl_multi_init());
  if (!tlsSessions_ || !multi_) throw std::bad_alloc();
  // Idle connections that are kept: a few hosts of each provider, the model, a CRM.
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, 16L);
  // Only the engine's thread touches the share, so it needs no locks.
  curl_share_setopt(tlsSessions_.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
}

CurlEngine::~CurlEngine() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  curl_multi_wakeup(multi_.get());
  if (thread_.joinable()) thread_.join();
}

void CurlEngine::submit(std::unique_ptr<CurlTransfer> transfer, Completion completion) {
  {
    const std::lock_guard lock(mutex_);
    submitted_.push_back({std::move(transfer), std::move(completion)});
    if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
  }
  curl_multi_wakeup(multi_.get());
}

void CurlEngine::run() {
  while (takeSubmitted()) {
    int running = 0;
    curl_multi_perform(multi_.get(), &running);
    finishEnded();
    endSilent();
    // Ends earlier at libcurl's own timers, at traffic and at a wake-up.
    curl_multi_poll(multi_.get(), nullptr, 0, millisecondsOfPatience(), nullptr);
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
  curl_easy_setopt(handle, CURLOPT_SHARE, tlsSessions_.get());
  if (curl_multi_add_handle(multi_.get(), handle) == CURLM_OK) {
    underWay_.emplace(handle, std::move(job));
  } else {
    job.completion(job.transfer->finished(CURLE_FAILED_INIT));
  }
}

void CurlEngine::finishEnded() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    CURL* const handle = message->easy_handle;
    curl_multi_remove_handle(multi_.get(), handle);
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
    curl_multi_remove_handle(multi_.get(), at->first);
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
    curl_multi_remove_handle(multi_.get(), handle);
    job.completion(job.transfer->abandoned());
  }
  underWay_.clear();
  const std::lock_guard lock(mutex_);
  for (Job& job : submitted_) job.completion(job.transfer->abandoned());
  submitted_.clear();
}

}  // namespace halcyra

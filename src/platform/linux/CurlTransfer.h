#pragma once

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/HttpClient.h"
#include "platform/linux/CurlLibrary.h"

namespace halcyra {

/// How a transfer ended: with a response, or with an HttpError still to be thrown.
struct CurlOutcome {
  struct Failure {
    HttpError::Kind kind;
    std::string text;
  };

  HttpResponse response;
  std::optional<Failure> failure;
};

/// One request as a libcurl easy handle, and what has come back for it.
class CurlTransfer {
 public:
  /// Throws HttpError for a request that cannot be sent at all.
  explicit CurlTransfer(HttpRequest request);
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  CURL* handle() const { return handle_.get(); }

  /// Takes the response out, after libcurl has ended the transfer.
  CurlOutcome finished(CURLcode code);

  /// When the other side has been silent for too long, unless it says something first.
  std::chrono::steady_clock::time_point givenUpAt() const;

  /// The end of a transfer whose other side was silent for too long.
  CurlOutcome timedOut();

  /// The end of a transfer that nobody waits for any longer.
  CurlOutcome abandoned() const;

 private:
  void readURL();
  void setAddress();
  void setHeaders();
  void setBody();
  void setBounds();
  void setRedirects();
  void appendHeader(const std::string& line);
  bool hasHeader(std::string_view name) const;
  std::size_t giveBody(std::span<char> room);
  std::size_t takeBody(std::string_view bytes);
  std::size_t takeHeaderLine(std::string_view line);
  CurlOutcome::Failure failureOf(CURLcode code) const;
  CurlOutcome failed(CurlOutcome::Failure failure) const;
  int status() const;
  bool isAnswered() const;
  long proxyRefusal() const;
  std::string detail(CURLcode code) const;

  HttpRequest request_;
  HttpResponse response_;
  std::string scheme_;
  std::string host_;  // without port
  std::string peer_;  // as error texts name it
  std::chrono::steady_clock::time_point lastMoved_ = std::chrono::steady_clock::now();
  std::size_t bodySent_ = 0;
  std::size_t headerBytes_ = 0;
  bool headersEnded_ = false;
  bool bodyTooLong_ = false;
  bool headersTooLong_ = false;
  std::array<char, CURL_ERROR_SIZE> errorText_{};
  std::unique_ptr<curl_slist, CurlFree<&CurlLibrary::slistFreeAll>> headers_;
  std::unique_ptr<CURL, CurlFree<&CurlLibrary::easyCleanup>> handle_;  // last: it goes first
};

}  // namespace halcyra

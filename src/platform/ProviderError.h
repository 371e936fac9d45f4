#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace halcyra {

/// A web service refused or answered something that cannot be used. `what()` is the description
/// that a person reads.
class ProviderError : public std::runtime_error {
 public:
  /// The code of an answer that was not HTTP.
  static constexpr int notHTTP = -1;

  /// `domain` names the service, for instance "GmailAPI"; `code` is an HTTP status where there is
  /// one.
  ProviderError(std::string domain, int code, const std::string& description)
      : std::runtime_error(description), domain_(std::move(domain)), code_(code) {}

  const std::string& domain() const { return domain_; }
  int code() const { return code_; }

 private:
  std::string domain_;
  int code_;
};

}  // namespace halcyra

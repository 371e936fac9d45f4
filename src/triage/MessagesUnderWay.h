#pragma once

#include <memory>
#include <set>
#include <string>
#include <utility>

namespace halcyra {

/// The messages that a pipeline is working on. After monitoring was switched off and on again an
/// old loop may still wait for the model while a new one lists the same message; this keeps the
/// second from acting too. Belongs to the main executor.
class MessagesUnderWay {
 public:
  /// Holds a message as long as it lives.
  class Claim {
   public:
    Claim(std::shared_ptr<MessagesUnderWay> messages, const std::string& key)
        : messages_(std::move(messages)),
          key_(key),
          granted_(messages_->keys_.insert(key).second) {}
    ~Claim() {
      if (granted_) messages_->keys_.erase(key_);
    }
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;

    /// False when another pipeline holds the message.
    bool granted() const { return granted_; }

   private:
    const std::shared_ptr<MessagesUnderWay> messages_;
    const std::string key_;
    const bool granted_;
  };

 private:
  std::set<std::string> keys_;
};

}  // namespace halcyra

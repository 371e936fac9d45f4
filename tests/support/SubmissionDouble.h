#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/ByteStream.h"
#include "text/Base64.h"

namespace halcyra {

/// Servers that take mail: any host and port is one. Each message they accepted is kept.
class SubmissionDouble : public StreamConnector {
 public:
  struct Message {
    Endpoint endpoint;
    std::string user, password, from, to, data;
  };

  /// The command that is answered with "550 no", for instance "RCPT".
  std::string refused;
  std::vector<Message> accepted;

  Task<std::unique_ptr<ByteStream>> connect(Endpoint endpoint) override {
    if (refused == "connect") throw StreamError("refused");
    co_return std::make_unique<Stream>(*this, std::move(endpoint));
  }

 private:
  class Stream : public ByteStream {
   public:
    Stream(SubmissionDouble& servers, Endpoint endpoint) : servers_(servers) {
      message_.endpoint = std::move(endpoint);
    }

    Task<Received> receive(std::span<char> room, ReceiveWait) override {
      const std::size_t count = std::min(room.size(), answer_.size());
      std::memcpy(room.data(), answer_.data(), count);
      answer_.erase(0, count);
      co_return Received{count, count == 0};
    }

    Task<void> send(std::string bytes) override {
      asked_ += bytes;
      for (std::size_t end; (end = asked_.find(turnEnd())) != std::string::npos;) {
        const std::string turn = asked_.substr(0, end + turnEnd().size());
        asked_.erase(0, turn.size());
        const bool no = !servers_.refused.empty() && turn.starts_with(servers_.refused);
        answer_ += no ? "550 no\r\n" : replyTo(turn) + "\r\n";
      }
      co_return;
    }

    void close() noexcept override {}

   private:
    std::string turnEnd() const { return inData_ ? "\r\n.\r\n" : "\r\n"; }

    std::string replyTo(const std::string& bytes) {
      if (inData_) {
        message_.data = bytes.substr(0, bytes.find("\r\n.\r\n"));
        servers_.accepted.push_back(message_);
        inData_ = false;
        return "250 kept";
      }
      const std::string argument = bytes.substr(0, bytes.find('\r'));
      const std::string word = argument.substr(0, 4);
      const std::string address = argument.substr(std::min(argument.size(), argument.find('<') + 1),
                                                  argument.find('>') - argument.find('<') - 1);
      if (word == "MAIL") message_.from = address;
      if (word == "RCPT") message_.to = address;
      if (word == "AUTH") return "334 user";
      if (word == "MAIL" || word == "RCPT" || word == "EHLO") return "250 ok";
      inData_ = word == "DATA";
      if (inData_) return "354 go";
      std::string& credential = message_.user.empty() ? message_.user : message_.password;
      credential = decodeBase64(argument).value_or("?");
      return message_.password.empty() ? "334 password" : "235 in";
    }

    SubmissionDouble& servers_;
    Message message_;
    std::string asked_;
    std::string answer_ = "220 ready\r\n";
    bool inData_ = false;
  };
};

}  // namespace halcyra

#pragma once

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/ByteStream.h"

namespace halcyra {

/// An IMAP server in memory with one mailbox; any user is let in, and whoever waits in IDLE is told
/// of new mail at once. It outlives its connections.
class IMAPDouble : public StreamConnector {
 public:
  struct Message {
    std::string text;
    bool seen = false;
  };
  std::map<std::uint32_t, Message> messages;

  Task<std::unique_ptr<ByteStream>> connect(Endpoint) override {
    co_return std::make_unique<Stream>(*this);
  }

 private:
  class Stream : public ByteStream {
   public:
    explicit Stream(IMAPDouble& server) : server_(server) {}

    Task<Received> receive(std::span<char> room, ReceiveWait wait) override {
      if (answers_.empty() && !wait.longest) throw StreamError("The server sent nothing.");
      const std::size_t count = std::min(room.size(), answers_.size());
      std::memcpy(room.data(), answers_.data(), count);
      answers_.erase(0, count);
      co_return Received{count, false};
    }

    Task<void> send(std::string bytes) override {
      asked_ += bytes;
      for (std::size_t end; (end = asked_.find("\r\n")) != std::string::npos;) {
        answer(asked_.substr(0, end));
        asked_.erase(0, end + 2);
      }
      co_return;
    }

    void close() noexcept override {}

   private:
    void answer(const std::string& line) {
      if (line == "DONE") {
        answers_ += std::exchange(idleTag_, {}) + " OK Idle completed\r\n";
        return;
      }
      const std::string tag = line.substr(0, line.find(' '));
      const auto command = [&](const char* word) { return line.find(word) != std::string::npos; };
      if (command(" UID SEARCH UNSEEN ")) {
        answers_ += "* SEARCH";
        for (const auto& [uid, message] : server_.messages) {
          if (!message.seen) answers_ += " " + std::to_string(uid);
        }
        answers_ += "\r\n";
      }
      const auto found = server_.messages.find(uidAfter(line, "UID FETCH "));
      const auto stored = server_.messages.find(uidAfter(line, "UID STORE "));
      if (found != server_.messages.end()) {
        const std::string& text = found->second.text;
        answers_ += "* 1 FETCH (UID " + std::to_string(found->first) + " BODY[] {" +
                    std::to_string(text.size()) + "}\r\n" + text + ")\r\n";
      }
      if (stored != server_.messages.end() && command("+FLAGS (\\Seen)")) {
        stored->second.seen = true;
      }
      if (command(" IDLE")) {
        idleTag_ = tag;
        answers_ += "+ idling\r\n* 3 EXISTS\r\n";
        return;
      }
      const bool known = command(" LOGIN ") || command(" SELECT ") || command(" UID ");
      answers_ += tag + (known ? " OK done\r\n" : " BAD unknown\r\n");
    }

    static std::uint32_t uidAfter(const std::string& line, const char* words) {
      const std::size_t at = line.find(words);
      return at == std::string::npos
                 ? 0
                 : static_cast<std::uint32_t>(std::strtoul(&line[at + 10], nullptr, 10));
    }

    IMAPDouble& server_;
    std::string asked_;
    std::string idleTag_;
    std::string answers_ = "* OK ready\r\n";
  };
};

}  // namespace halcyra

#include "support/Dialogue.h"

#include <algorithm>
#include <utility>

namespace halcyra {

class Dialogue::Stream : public ByteStream {
 public:
  explicit Stream(Dialogue& dialogue) : dialogue_(dialogue) {}

  Task<Received> receive(std::span<char> room, ReceiveWait wait) override {
    requireOpen();
    co_return dialogue_.receive(room, wait);
  }
  Task<void> send(std::string bytes) override {
    requireOpen();
    dialogue_.send(std::move(bytes));
    co_return;
  }
  void close() noexcept override {
    if (std::exchange(open_, false)) ++dialogue_.closings_;
  }

 private:
  void requireOpen() const {
    if (!open_) throw StreamError("The connection is closed.");
  }

  Dialogue& dialogue_;
  bool open_ = true;
};

Dialogue& Dialogue::add(Kind kind, std::string text, std::function<void()> action) {
  steps_.push_back({kind, std::move(text), std::move(action)});
  return *this;
}

Dialogue& Dialogue::serverBytes(std::string bytes) {
  return add(Kind::server, std::move(bytes));
}
Dialogue& Dialogue::client(const std::string& line) {
  return add(Kind::client, line + "\r\n");
}
Dialogue& Dialogue::silence() {
  return add(Kind::silence);
}
Dialogue& Dialogue::closes() {
  return add(Kind::closes);
}
Dialogue& Dialogue::breaks(std::string text) {
  return add(Kind::breaks, std::move(text));
}
Dialogue& Dialogue::then(std::function<void()> action) {
  return add(Kind::then, {}, std::move(action));
}

Dialogue& Dialogue::inPiecesOf(std::size_t size) {
  pieceSize_ = size;
  return *this;
}

Dialogue& Dialogue::closedAfter(std::size_t serverBytes) {
  closedAfter_ = serverBytes;
  return *this;
}

Task<std::unique_ptr<ByteStream>> Dialogue::connect(Endpoint endpoint) {
  connections_.push_back(std::move(endpoint));
  co_return std::make_unique<Stream>(*this);
}

std::size_t Dialogue::serverSize() const {
  std::size_t size = 0;
  for (const Step& step : steps_) size += step.kind == Kind::server ? step.text.size() : 0;
  return size;
}

std::string Dialogue::complaints() const {
  std::string all = complaints_;
  for (const Step& step : steps_) {
    if (step.kind == Kind::client) all += "never sent: " + step.text;
    if (step.kind == Kind::server) all += "never read: " + step.text;
  }
  return all;
}

// The server speaks without waiting to be read.
void Dialogue::queueServerText() {
  while (!steps_.empty() && steps_.front().kind == Kind::server) {
    incoming_.push_back(std::move(steps_.front().text));
    steps_.pop_front();
  }
}

Received Dialogue::receive(std::span<char> room, const ReceiveWait& wait) {
  waits_.push_back(wait.longest);
  if (room.empty()) complain("a receive without room");
  for (;;) {
    queueServerText();
    if (delivered_ >= closedAfter_) return {0, true};
    if (!incoming_.empty()) break;
    if (wait.stop.stop_requested()) return {};
    if (steps_.empty()) throw StreamError("The script is over.");
    Step& step = steps_.front();
    if (step.kind == Kind::closes) return {0, true};
    if (step.kind == Kind::breaks) throw StreamError(step.text);
    if (step.kind == Kind::client) {
      complain("waits for the server instead of sending: " + step.text);
      throw StreamError("Both sides wait.");
    }
    const Step done = std::move(step);
    steps_.pop_front();
    if (done.kind == Kind::then) done.action();
    if (done.kind == Kind::silence && wait.longest) return {};
    if (done.kind == Kind::silence) throw StreamError("The server sent nothing.");
  }
  std::string& piece = incoming_.front();
  const std::size_t size =
      std::min({room.size(), piece.size(), pieceSize_, closedAfter_ - delivered_});
  std::copy_n(piece.begin(), size, room.begin());
  piece.erase(0, size);
  if (piece.empty()) incoming_.pop_front();
  delivered_ += size;
  return {size, false};
}

void Dialogue::send(std::string bytes) {
  queueServerText();
  if (!steps_.empty() && steps_.front().kind == Kind::breaks)
    throw StreamError(steps_.front().text);
  if (steps_.empty() || steps_.front().kind != Kind::client ||
      !steps_.front().text.starts_with(bytes)) {
    complain("sent out of turn: " + bytes);
    throw StreamError("Not in the script.");
  }
  steps_.front().text.erase(0, bytes.size());
  if (steps_.front().text.empty()) steps_.pop_front();
}

}  // namespace halcyra

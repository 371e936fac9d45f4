#include "FaultyConnector.h"

#include <algorithm>
#include <array>

namespace halcyra {

namespace {

class FaultyStream : public ByteStream {
 public:
  FaultyStream(std::unique_ptr<ByteStream> inner, Wire& wire)
      : inner_(std::move(inner)), wire_(wire) {}

  Task<Received> receive(std::span<char> room, ReceiveWait wait) override {
    if (arrived_.empty() && ending_ == FaultKind::none) {
      std::array<char, 4096> bytes;
      Task<Received> receiving = inner_->receive(bytes, wait);
      const Received received = co_await std::move(receiving);
      if (received.count == 0) co_return received;
      Wire::Crossing crossing = wire_.cross(std::string(bytes.data(), received.count));
      ending_ = crossing.ending;
      for (std::string& piece : crossing.pieces) {
        if (!piece.empty()) arrived_.push_back(std::move(piece));
      }
    }
    if (arrived_.empty() && ending_ == FaultKind::cut) co_return Received{0, true};
    if (arrived_.empty() && wait.longest) co_return Received{};
    if (arrived_.empty()) throw StreamError("The server sent nothing.");
    std::string& piece = arrived_.front();
    const std::size_t count = std::min(room.size(), piece.size());
    std::copy_n(piece.begin(), count, room.begin());
    piece.erase(0, count);
    if (piece.empty()) arrived_.pop_front();
    co_return Received{count, false};
  }

  Task<void> send(std::string bytes) override {
    if (ending_ != FaultKind::none) throw StreamError("The connection is lost.");
    Wire::Crossing crossing = wire_.cross(std::move(bytes));
    ending_ = crossing.ending;
    for (std::string& piece : crossing.pieces) {
      Task<void> sending = inner_->send(std::move(piece));
      co_await std::move(sending);
    }
  }

  void close() noexcept override { inner_->close(); }

 private:
  std::unique_ptr<ByteStream> inner_;
  Wire& wire_;
  std::deque<std::string> arrived_;
  FaultKind ending_ = FaultKind::none;
};

}  // namespace

std::unique_ptr<ByteStream> overWire(std::unique_ptr<ByteStream> inner, Wire& wire) {
  return std::make_unique<FaultyStream>(std::move(inner), wire);
}

Task<std::unique_ptr<ByteStream>> FaultyConnector::connect(Endpoint endpoint) {
  Task<std::unique_ptr<ByteStream>> connecting = inner_.connect(std::move(endpoint));
  std::unique_ptr<ByteStream> inner = co_await std::move(connecting);
  co_return overWire(std::move(inner), wire_);
}

}  // namespace halcyra

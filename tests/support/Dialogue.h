#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/ByteStream.h"

namespace halcyra {

/// A scripted peer: what the server says, what the client must send, in this order. It connects any
/// number of streams, which all walk on through the one script, and outlives them. A copy made
/// before the first connection replays the script.
class Dialogue : public StreamConnector {
 public:
  /// The server says this line; CR LF is added. Each call arrives as one piece.
  Dialogue& server(const std::string& line) { return serverBytes(line + "\r\n"); }
  Dialogue& serverBytes(std::string bytes);
  /// The client must now send this line; CR LF is added.
  Dialogue& client(const std::string& line);
  /// A receive with a limit ends with it; one without fails, as the connection's own limit would.
  Dialogue& silence();
  /// The server closes.
  Dialogue& closes();
  /// The connection breaks, for a receive or a send.
  Dialogue& breaks(std::string text);
  /// Runs when the client waits at this place.
  Dialogue& then(std::function<void()> action);

  /// No receive brings more than `size` bytes.
  Dialogue& inPiecesOf(std::size_t size);
  /// The server closes for good after so many of its bytes, whatever the script says.
  Dialogue& closedAfter(std::size_t serverBytes);

  Task<std::unique_ptr<ByteStream>> connect(Endpoint endpoint) override;

  /// All bytes the server says in the script.
  std::size_t serverSize() const;
  /// What the client did against the script, or left undone; empty when all is well.
  std::string complaints() const;
  const std::vector<Endpoint>& connections() const { return connections_; }
  int closings() const { return closings_; }
  /// The longest waits that receives asked for; absent ones are those without a limit.
  const std::vector<std::optional<std::chrono::milliseconds>>& waits() const { return waits_; }

 private:
  class Stream;
  enum class Kind { server, client, silence, closes, breaks, then };
  struct Step {
    Kind kind;
    std::string text;
    std::function<void()> action;
  };

  Dialogue& add(Kind kind, std::string text = {}, std::function<void()> action = {});
  void queueServerText();
  Received receive(std::span<char> room, const ReceiveWait& wait);
  void send(std::string bytes);
  void complain(const std::string& text) { complaints_ += text + "\n"; }

  std::deque<Step> steps_;
  std::deque<std::string> incoming_;
  std::size_t pieceSize_ = std::string::npos;
  std::size_t closedAfter_ = std::string::npos;
  std::size_t delivered_ = 0;
  std::string complaints_;
  std::vector<Endpoint> connections_;
  std::vector<std::optional<std::chrono::milliseconds>> waits_;
  int closings_ = 0;
};

}  // namespace halcyra

#include "cli/InputLines.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <system_error>

#include "text/Utf8.h"

namespace halcyra {
namespace {

// A command may hold a reply with a long quotation.
constexpr std::size_t longestLine = 16u << 20;

constexpr std::size_t keptOfLongLine = 1000;

constexpr int forever = -1;
constexpr int backgroundLookMilliseconds = 500;

}  // namespace

/// Works on a thread that may wait, except for `close`.
class InputLines::Reader {
 public:
  explicit Reader(int descriptor) : input_(descriptor), closing_(eventfd(0, EFD_CLOEXEC)) {
    if (closing_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  }
  ~Reader() { ::close(closing_); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  void close() {
    closed_ = true;
    eventfd_write(closing_, 1);
  }

  std::optional<std::string> readLine() {
    std::size_t searched = 0;
    while (!closed_) {
      const std::size_t end = buffer_.find('\n', searched);
      if (end != std::string::npos) return takeLine(end);
      if (buffer_.size() > longestLine) cutLine();
      searched = buffer_.size();
      if (!waitForInput() || !readMore()) return std::nullopt;
    }
    return std::nullopt;
  }

 private:
  std::string takeLine(std::size_t end) {
    std::string line = cutLine_ ? std::move(*cutLine_) : buffer_.substr(0, end);
    cutLine_.reset();
    buffer_.erase(0, end + 1);
    return repairedUtf8(std::move(line));
  }

  void cutLine() {
    if (!cutLine_) cutLine_ = buffer_.substr(0, keptOfLongLine);
    buffer_.clear();
  }

  bool inBackground() const { return isatty(input_) && tcgetpgrp(input_) != getpgrp(); }

  // False when `close` was called.
  bool waitForInput() const {
    while (true) {
      const bool background = inBackground();
      pollfd ready[] = {{closing_, POLLIN, 0}, {input_, POLLIN, 0}};
      const int count = background ? 1 : 2;
      const int result = poll(ready, static_cast<nfds_t>(count),
                              background ? backgroundLookMilliseconds : forever);
      if (result < 0 && errno != EINTR) return false;
      if (result > 0 && ready[0].revents != 0) return false;
      if (result > 0 && !inBackground()) return true;
    }
  }

  bool readMore() {
    char room[4096];
    ssize_t count;
    do {
      count = read(input_, room, sizeof room);
    } while (count < 0 && errno == EINTR);
    if (count <= 0) return false;
    buffer_.append(room, static_cast<std::size_t>(count));
    return true;
  }

  const int input_;
  const int closing_;
  std::atomic<bool> closed_ = false;
  std::string buffer_;
  /// What is kept of the line that is being read, when it is too long.
  std::optional<std::string> cutLine_;
};

namespace {

template <class Reader>
Task<std::optional<std::string>> readOn(std::shared_ptr<Reader> reader) {
  co_return reader->readLine();
}

}  // namespace

InputLines::InputLines(Executor blocking, int descriptor)
    : blocking_(std::move(blocking)), reader_(std::make_shared<Reader>(descriptor)) {}

InputLines::~InputLines() {
  close();
}

Task<std::optional<std::string>> InputLines::next() {
  Task<std::optional<std::string>> reading = readOn(reader_);
  Task<std::optional<std::string>> elsewhere = runOn(blocking_, std::move(reading));
  co_return co_await std::move(elsewhere);
}

void InputLines::close() {
  reader_->close();
}

}  // namespace halcyra

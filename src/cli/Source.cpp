#include "cli/Source.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace halcyra {
namespace {

constexpr std::size_t chunk = std::size_t{1} << 16;

[[noreturn]] void fail(const std::string& source, const std::string& reason) {
  const std::string name = source == standardInput ? "standard input" : source;
  throw std::runtime_error(name + ": " + reason);
}

std::string sizeText(std::size_t bytes) {
  return bytes < (std::size_t{1} << 20) ? std::to_string(bytes >> 10) + " KB"
                                        : std::to_string(bytes >> 20) + " MB";
}

std::string readStream(const std::string& source, std::istream& in, std::size_t limit,
                       std::string text) {
  const std::size_t most = text.size() + limit;
  while (in) {
    const std::size_t used = text.size();
    text.resize(used + chunk);
    in.read(text.data() + used, chunk);
    text.resize(used + static_cast<std::size_t>(in.gcount()));
    if (text.size() > most) fail(source, "longer than the limit of " + sizeText(limit));
  }
  if (in.bad()) fail(source, "reading failed");
  return text;
}

}  // namespace

std::string readSource(const std::string& source, std::istream& in, std::size_t limit,
                       std::string prefix) {
  if (source == standardInput) return readStream(source, in, limit, std::move(prefix));
  if (source.empty()) throw std::runtime_error("the name of the file is empty");
  // A folder opens like a file and then gives nothing to read and no reason.
  std::error_code failure;
  if (std::filesystem::is_directory(source, failure)) fail(source, "is a folder, not a file");
  errno = 0;
  std::ifstream file(source, std::ios::binary);
  if (!file) fail(source, errno != 0 ? std::strerror(errno) : "cannot be opened");
  // Growing step by step would hold a large message twice.
  if (const auto size = std::filesystem::file_size(source, failure); !failure && size <= limit) {
    prefix.reserve(prefix.size() + size + chunk);
  }
  return readStream(source, file, limit, std::move(prefix));
}

}  // namespace halcyra

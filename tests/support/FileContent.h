#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace halcyra {

/// All bytes of a file; nothing of one that cannot be read.
inline std::string contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace halcyra

#include "platform/SecureRandom.h"

#include <openssl/rand.h>

#include <stdexcept>

namespace halcyra {

std::string secureRandomBytes(std::size_t count) {
  std::string bytes(count, '\0');
  if (RAND_bytes(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(count)) != 1) {
    throw std::runtime_error("The system gives no random numbers.");
  }
  return bytes;
}

}  // namespace halcyra

#include "platform/linux/CurlLibrary.h"

#include <string>

#include "platform/HttpClient.h"

namespace halcyra {

CurlLibrary::CurlLibrary() {
  const CURLcode prepared = globalInit(CURL_GLOBAL_DEFAULT);
  if (prepared != CURLE_OK) throw LibraryError(std::string("libcurl: ") + easyStrerror(prepared));
}

const CurlLibrary& libcurl() {
  try {
    static const CurlLibrary library;
    return library;
  } catch (const LibraryError& error) {
    throw HttpError(HttpError::Kind::failed, error.what());
  }
}

}  // namespace halcyra

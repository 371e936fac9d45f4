#include "platform/linux/CurlTransfer.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include "text/Case.h"
#include "text/Trim.h"
#include "text/Utf8.h"

namespace halcyra {
namespace {

constexpr std::size_t longestHeaders = 256u << 10;
constexpr long mostRedirects = 5;

template <class Value>
void setOption(CURL* handle, CURLoption option, Value value) {
  if (const CURLcode code = libcurl().easySetopt(handle, option, value); code != CURLE_OK) {
    throw HttpError(HttpError::Kind::failed, std::string("The request cannot be made: ") +
                                                 libcurl().easyStrerror(code) + ".");
  }
}

bool breaksLine(const std::string& text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos;
}

bool isThisMachine(std::string_view host) {
  const bool isNumber = host.find_first_not_of("0123456789.") == host.npos;
  return equalsIgnoringAsciiCase(host, "localhost") || host == "[::1]" ||
         (isNumber && host.starts_with("127."));
}

std::string megabytes(std::size_t bytes) {
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%.4g MB", static_cast<double>(bytes) / (1 << 20));
  return text.data();
}

std::optional<std::string> partOfURL(CURLU* url, CURLUPart part) {
  char* text = nullptr;
  if (libcurl().urlGet(url, part, &text, 0) != CURLUE_OK) return std::nullopt;
  const std::unique_ptr<char, CurlFree<&CurlLibrary::free>> owner(text);
  return std::string(text);
}

}  // namespace

CurlTransfer::CurlTransfer(HttpRequest request)
    : request_(std::move(request)), handle_(libcurl().easyInit()) {
  if (!handle_) throw std::bad_alloc();
  readURL();
  setAddress();
  setHeaders();
  setBody();
  setBounds();
  setRedirects();
}

void CurlTransfer::readURL() {
  const std::unique_ptr<CURLU, CurlFree<&CurlLibrary::urlCleanup>> url(libcurl().url());
  const bool parsed =
      url && request_.url.find('\0') == std::string::npos &&
      libcurl().urlSet(url.get(), CURLUPART_URL, request_.url.c_str(), 0) == CURLUE_OK;
  if (parsed) {
    scheme_ = partOfURL(url.get(), CURLUPART_SCHEME).value_or("");
    host_ = partOfURL(url.get(), CURLUPART_HOST).value_or("");
    const auto port = partOfURL(url.get(), CURLUPART_PORT);
    peer_ = port ? host_ + ":" + *port : host_;
  }
  if ((scheme_ != "http" && scheme_ != "https") || host_.empty()) {
    throw HttpError(HttpError::Kind::invalidURL, "The address is not a usable web address.");
  }
}

void CurlTransfer::setAddress() {
  setOption(handle(), CURLOPT_URL, request_.url.c_str());
  setOption(handle(), CURLOPT_PROTOCOLS_STR, "http,https");
  setOption(handle(), CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  setOption(handle(), CURLOPT_ACCEPT_ENCODING, "");  // whatever libcurl can decode
  setOption(handle(), CURLOPT_NOSIGNAL, 1L);
  setOption(handle(), CURLOPT_TCP_KEEPALIVE, 1L);
  setOption(handle(), CURLOPT_ERRORBUFFER, errorText_.data());
  // A name server that does not answer must not hold up the thread that all transfers share.
  setOption(handle(), CURLOPT_QUICK_EXIT, 1L);
  if (isThisMachine(host_)) setOption(handle(), CURLOPT_PROXY, "");
}

void CurlTransfer::appendHeader(const std::string& line) {
  curl_slist* extended = libcurl().slistAppend(headers_.get(), line.c_str());
  if (extended == nullptr) throw std::bad_alloc();
  static_cast<void>(headers_.release());
  headers_.reset(extended);
}

bool CurlTransfer::hasHeader(std::string_view name) const {
  return std::any_of(
      request_.headers.begin(), request_.headers.end(),
      [&](const HttpHeader& header) { return equalsIgnoringAsciiCase(header.name, name); });
}

void CurlTransfer::setHeaders() {
  for (const HttpHeader& header : request_.headers) {
    if (header.name.empty() || breaksLine(header.name) || breaksLine(header.value)) {
      throw HttpError(HttpError::Kind::failed, "The request to " + peer_ +
                                                   " has a header with a line break or without a "
                                                   "name.");
    }
    // libcurl's own notation for a header without value.
    appendHeader(header.value.empty() ? header.name + ";" : header.name + ": " + header.value);
  }
  // Those that libcurl would add by itself to a body.
  appendHeader("Expect:");
  if (!hasHeader("Content-Type")) appendHeader("Content-Type:");
  setOption(handle(), CURLOPT_HTTPHEADER, headers_.get());
}

void CurlTransfer::setBody() {
  if (request_.method == "HEAD") {
    setOption(handle(), CURLOPT_NOBODY, 1L);
  } else if (request_.method == "POST" || !request_.body.empty()) {
    setOption(handle(), CURLOPT_POST, 1L);
    setOption(handle(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
    // A body that cannot be read twice: libcurl would send a POST again by itself when a reused
    // connection ends before the answer, and a mail would go out twice.
    setOption(handle(), CURLOPT_READDATA, this);
    setOption(
        handle(), CURLOPT_READFUNCTION,
        +[](char* room, std::size_t size, std::size_t count, void* transfer) {
          return static_cast<CurlTransfer*>(transfer)->giveBody({room, size * count});
        });
  }
  if (request_.method != "HEAD" && request_.method != "GET" && request_.method != "POST") {
    if (breaksLine(request_.method)) {
      throw HttpError(HttpError::Kind::failed, "The request has an unusable method.");
    }
    setOption(handle(), CURLOPT_CUSTOMREQUEST, request_.method.c_str());
  }
}

void CurlTransfer::setBounds() {
  const auto milliseconds = std::max<std::chrono::milliseconds::rep>(request_.longest.count(), 1);
  setOption(handle(), CURLOPT_TIMEOUT_MS, static_cast<long>(milliseconds));
  setOption(handle(), CURLOPT_PRIVATE, this);
  setOption(handle(), CURLOPT_WRITEDATA, this);
  setOption(
      handle(), CURLOPT_WRITEFUNCTION,
      +[](char* bytes, std::size_t size, std::size_t count, void* transfer) {
        return static_cast<CurlTransfer*>(transfer)->takeBody({bytes, size * count});
      });
  setOption(handle(), CURLOPT_HEADERDATA, this);
  setOption(
      handle(), CURLOPT_HEADERFUNCTION,
      +[](char* bytes, std::size_t size, std::size_t count, void* transfer) {
        return static_cast<CurlTransfer*>(transfer)->takeHeaderLine({bytes, size * count});
      });
}

// libcurl sends a header that was given to it to every host on the way, so nothing with a
// credential is sent on.
void CurlTransfer::setRedirects() {
  if (request_.method != "GET" || hasHeader("Authorization")) return;
  setOption(handle(), CURLOPT_FOLLOWLOCATION, 1L);
  setOption(handle(), CURLOPT_MAXREDIRS, mostRedirects);
  setOption(handle(), CURLOPT_REDIR_PROTOCOLS_STR, scheme_ == "https" ? "https" : "http,https");
}

std::size_t CurlTransfer::giveBody(std::span<char> room) {
  const std::size_t count = std::min(room.size(), request_.body.size() - bodySent_);
  std::copy_n(request_.body.data() + bodySent_, count, room.data());
  bodySent_ += count;
  lastMoved_ = std::chrono::steady_clock::now();
  return count;
}

std::size_t CurlTransfer::takeBody(std::string_view bytes) {
  lastMoved_ = std::chrono::steady_clock::now();
  if (bytes.size() > request_.answerLimit - response_.body.size()) {
    bodyTooLong_ = true;
    return CURL_WRITEFUNC_ERROR;
  }
  response_.body.append(bytes);
  return bytes.size();
}

// Lines of redirects and interim answers come here, too; the last answer's stay.
std::size_t CurlTransfer::takeHeaderLine(std::string_view line) {
  lastMoved_ = std::chrono::steady_clock::now();
  headerBytes_ += line.size();
  if (headerBytes_ > longestHeaders) {
    headersTooLong_ = true;
    return 0;
  }
  const std::string_view text = trimmedOf(line, "\r\n");
  const std::size_t colon = text.find(':');
  if (text.starts_with("HTTP/")) {
    response_.headers.clear();
    headersEnded_ = false;
  } else if (text.empty()) {
    headersEnded_ = true;
  } else if (colon != std::string_view::npos) {
    response_.headers.push_back(
        {repairedUtf8(std::string(trimmedOf(text.substr(0, colon), " \t"))),
         repairedUtf8(std::string(trimmedOf(text.substr(colon + 1), " \t")))});
  }
  return line.size();
}

CurlOutcome CurlTransfer::finished(CURLcode code) {
  // libcurl takes an answer for good whose connection ends among the headers.
  if (code == CURLE_OK && !headersEnded_) code = CURLE_GOT_NOTHING;
  if (code != CURLE_OK && !isAnswered()) return failed(failureOf(code));
  response_.status = status();
  return {std::move(response_), std::nullopt};
}

bool CurlTransfer::isAnswered() const {
  return request_.statusSuffices && headersEnded_ && status() >= 200;
}

std::chrono::steady_clock::time_point CurlTransfer::givenUpAt() const {
  return lastMoved_ + request_.timeout;
}

CurlOutcome CurlTransfer::timedOut() {
  if (isAnswered()) return finished(CURLE_OPERATION_TIMEDOUT);
  return failed({HttpError::Kind::transport, "The request to " + peer_ + " timed out."});
}

int CurlTransfer::status() const {
  long status = 0;
  libcurl().easyGetinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
  return static_cast<int>(status);
}

CurlOutcome CurlTransfer::failed(CurlOutcome::Failure failure) const {
  // libcurl's own count of what it sent is lost when a connection was used before.
  const bool isSent = !request_.body.empty() && bodySent_ == request_.body.size();
  if (request_.lossIsTold && isSent) failure.kind = HttpError::Kind::unanswered;
  return {{}, std::move(failure)};
}

CurlOutcome CurlTransfer::abandoned() const {
  return failed({HttpError::Kind::failed, "The request to " + peer_ + " was given up."});
}

CurlOutcome::Failure CurlTransfer::failureOf(CURLcode code) const {
  using Kind = HttpError::Kind;
  if (bodyTooLong_) {
    return {Kind::tooLarge,
            "The answer of " + peer_ + " is larger than " + megabytes(request_.answerLimit) + "."};
  }
  if (headersTooLong_) {
    return {Kind::tooLarge,
            "The headers of " + peer_ + " are larger than " + megabytes(longestHeaders) + "."};
  }
  switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
      return {Kind::failed, "The answer of " + peer_ + " took too long."};
    case CURLE_OUT_OF_MEMORY:  // libcurl's name for it, too
      return {Kind::tooLarge, "A header line of " + peer_ + " is too long."};
    case CURLE_COULDNT_RESOLVE_HOST:
      return {Kind::transport, "The host " + peer_ + " was not found."};
    case CURLE_COULDNT_CONNECT:
      return {Kind::transport, "Could not connect to " + peer_ + "."};
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_FAIL_REWIND:
      if (const long refused = proxyRefusal(); refused != 0) {
        return {Kind::failed, "The proxy on the way to " + peer_ +
                                  " refused the connection (HTTP " + std::to_string(refused) +
                                  ")."};
      }
      return {Kind::transport, peer_ + " closed the connection before its answer was complete."};
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
      if (headersEnded_) break;  // it spoke HTTP, but redirects to what does not
      return {Kind::notHTTP, "The answer of " + peer_ + " is not HTTP."};
    default:
      break;
  }
  const bool isTransport = code == CURLE_COULDNT_RESOLVE_PROXY || code == CURLE_SEND_ERROR ||
                           code == CURLE_HTTP2 || code == CURLE_HTTP2_STREAM;
  return {isTransport ? Kind::transport : Kind::failed,
          "The request to " + peer_ + " failed: " + detail(code) + "."};
}

// The proxy's status, where it did not let the connection through; else 0.
long CurlTransfer::proxyRefusal() const {
  long status = 0;
  libcurl().easyGetinfo(handle(), CURLINFO_HTTP_CONNECTCODE, &status);
  return status >= 300 ? status : 0;
}

// libcurl's own words, for certificates above all, where they say what does not fit.
std::string CurlTransfer::detail(CURLcode code) const {
  std::string text = errorText_.front() != '\0' ? errorText_.data() : libcurl().easyStrerror(code);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  return repairedUtf8(std::move(text));
}

}  // namespace halcyra

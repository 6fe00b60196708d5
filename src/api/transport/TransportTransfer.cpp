#include "api/transport/TransportTransfer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "api/transport/HeaderText.h"
#include "api/transport/TransportProxy.h"

namespace corvane::platform {

namespace {

/// Whether the kernel has a route to the address. Connecting a datagram socket checks that and sends nothing.
bool hasRouteTo(const curl_sockaddr& address) {
  const int probe = ::socket(address.family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (probe < 0) return true;
  const bool connected = ::connect(probe, &address.addr, address.addrlen) == 0;
  ::close(probe);
  return connected;
}

}  // namespace

std::optional<std::string> validationError(const URLRequest& request) {
  if (request.method != "GET" && request.method != "POST") return "the method is neither GET nor POST";
  if (containsLineBreakOrNUL(request.url)) return "the URL holds a line break or NUL";
  for (const auto& [name, value] : request.headers) {
    if (!isToken(name)) return "a header name is not a token";
    if (containsLineBreakOrNUL(value)) return "the value of header " + name + " holds a line break or NUL";
  }
  return std::nullopt;
}

/// Sets options until one fails, and keeps its error code.
class TransportTransfer::Options {
 public:
  explicit Options(CURL* easy) : easy_(easy) {}

  template <typename Value>
  void set(CURLoption option, Value value) {
    if (code_ == CURLE_OK) code_ = curl_easy_setopt(easy_, option, value);
  }
  CURLcode code() const { return code_; }

 private:
  CURL* easy_;
  CURLcode code_ = CURLE_OK;
};

CURLcode TransportTransfer::prepare(const URLRequest& request, ConnectionPool& pool,
                                    std::chrono::milliseconds connectTimeout,
                                    const URLSessionConfiguration& configuration) {
  reset();
  // A new handle for each request: to libcurl 7.88 a reused one still points at a header field of the
  // response before, which is freed, and a first header line that begins with a blank would be appended to
  // it.
  easy_.reset(curl_easy_init());
  if (!easy_) return CURLE_FAILED_INIT;
  if (!setHeaders(request)) return CURLE_OUT_OF_MEMORY;
  pool_ = &pool;

  Options options(easy_.get());
  setRequest(options, request);
  setConnection(options, connectTimeout);
  // An event waits for a connection in the making, which may turn out to take all of them.
  const bool waitsToMultiplex = request.traffic != Traffic::interactive && request.url.starts_with("https:");
  options.set(CURLOPT_PIPEWAIT, waitsToMultiplex ? 1L : 0L);
  if (!setProxy(options, configuration.proxy)) return CURLE_COULDNT_RESOLVE_PROXY;
  setTLS(options, configuration);
  options.set(CURLOPT_NOSIGNAL, 1L);
  options.set(CURLOPT_QUICK_EXIT, 1L);       // or removing a transfer waits for its name look-up
  options.set(CURLOPT_ACCEPT_ENCODING, "");  // every encoding that libcurl can decompress
  options.set(CURLOPT_SHARE, shared_);
  options.set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  options.set(CURLOPT_ERRORBUFFER, detail_.data());
  return options.code() == CURLE_OK ? response_.attach(easy_.get()) : options.code();
}

void TransportTransfer::setRequest(Options& options, const URLRequest& request) const {
  options.set(CURLOPT_URL, request.url.c_str());
  options.set(CURLOPT_PROTOCOLS_STR, "http,https");
  options.set(CURLOPT_HTTPHEADER, headers_.get());
  if (request.method != "POST") return;
  options.set(CURLOPT_POST, 1L);
  options.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body ? request.body->size() : 0));
  options.set(CURLOPT_POSTFIELDS, request.body ? request.body->data() : "");
}

void TransportTransfer::setConnection(Options& options, std::chrono::milliseconds connectTimeout) {
  options.set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  options.set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(connectTimeout.count()));
  options.set(CURLOPT_RESOLVER_START_FUNCTION, &TransportTransfer::beginResolving);
  options.set(CURLOPT_RESOLVER_START_DATA, this);
  options.set(CURLOPT_OPENSOCKETFUNCTION, &TransportTransfer::openSocket);
  options.set(CURLOPT_OPENSOCKETDATA, this);
  options.set(CURLOPT_CLOSESOCKETFUNCTION, &ConnectionPool::closeSocket);
  options.set(CURLOPT_CLOSESOCKETDATA, pool_);  // not this object, which the connection outlives
  options.set(CURLOPT_PREREQFUNCTION, &TransportTransfer::beginSending);
  options.set(CURLOPT_PREREQDATA, this);
}

bool TransportTransfer::setProxy(Options& options, const std::string& proxy) {
  constexpr std::string_view malformed =
      "the proxy is not a URL of the scheme http, https, socks4(a) or socks5(h)";
  if (!proxy.empty() && !isProxyURL(proxy)) {
    *std::ranges::copy(malformed, detail_.begin()).out = '\0';
    return false;
  }
  // Both are set in every case: libcurl reads an option that is not set from the environment.
  options.set(CURLOPT_PROXY, proxy.c_str());
  options.set(CURLOPT_NOPROXY, hostsWithoutProxy);
  return true;
}

void TransportTransfer::setTLS(Options& options, const URLSessionConfiguration& configuration) {
  const std::string& authorityFile = configuration.certificateAuthorityFile;
  options.set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  if (!authorityFile.empty()) options.set(CURLOPT_CAINFO, authorityFile.c_str());
  if (!authorityFile.empty() && !configuration.proxy.empty())
    options.set(CURLOPT_PROXY_CAINFO, authorityFile.c_str());
  if (authorityFile.empty() && curl_version_info(CURLVERSION_NOW)->cainfo == nullptr) return;
  // A file of authorities is complete. With the system's folder as well, libcurl would read the system's file
  // again for each connection, which takes about 30 ms; without the folder, it reads the file once a day.
  options.set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
}

void TransportTransfer::reset() {
  easy_.reset();
  headers_.reset();
  detail_.front() = '\0';
  response_.reset();
  pool_ = nullptr;
  stage_ = Stage::held;
  addressesTried_ = 0;
  hadRoute_ = false;
}

bool TransportTransfer::appendHeader(const std::string& line) {
  curl_slist* extended = curl_slist_append(headers_.get(), line.c_str());
  if (!extended) return false;
  static_cast<void>(headers_.release());  // the list now begins at `extended`
  headers_.reset(extended);
  return true;
}

bool TransportTransfer::setHeaders(const URLRequest& request) {
  // libcurl would add both by default: a form's content type, and `Expect` with a pause before larger bodies.
  bool appended = appendHeader("Expect:");
  bool hasContentType = false;
  for (const auto& [name, value] : request.headers) {
    hasContentType = hasContentType || lowerCased(name) == "content-type";
    // To libcurl, "Name:" means that the header is left out.
    const bool isBlank = value.find_first_not_of(" \t") == std::string::npos;
    appended = appended && appendHeader(isBlank ? name + ";" : name + ": " + value);
  }
  if (!hasContentType) appended = appended && appendHeader("Content-Type:");
  return appended;
}

int TransportTransfer::beginResolving(void*, void*, void* self) noexcept {
  static_cast<TransportTransfer*>(self)->stage_ = Stage::resolving;
  return 0;
}

curl_socket_t TransportTransfer::openSocket(void* self, curlsocktype, curl_sockaddr* address) noexcept {
  auto& transfer = *static_cast<TransportTransfer*>(self);
  transfer.stage_ = Stage::connecting;
  ++transfer.addressesTried_;
  transfer.hadRoute_ = transfer.hadRoute_ || hasRouteTo(*address);
  return transfer.pool_->openSocket(*address);
}

int TransportTransfer::beginSending(void* self, char*, char*, int, int localPort) noexcept {
  auto& transfer = *static_cast<TransportTransfer*>(self);
  transfer.stage_ = Stage::sending;
  transfer.pool_->noteUse(transfer.handle(), localPort);
  return CURL_PREREQFUNC_OK;
}

curl_off_t TransportTransfer::bytesSent() const {
  curl_off_t sent = 0;
  curl_easy_getinfo(handle(), CURLINFO_SIZE_UPLOAD_T, &sent);
  return sent;
}

curl_off_t TransportTransfer::bytesReceived() const {
  long headers = 0;
  curl_easy_getinfo(handle(), CURLINFO_HEADER_SIZE, &headers);
  return headers + bodyBytesReceived();
}

curl_off_t TransportTransfer::bodyBytesReceived() const {
  curl_off_t received = 0;
  curl_easy_getinfo(handle(), CURLINFO_SIZE_DOWNLOAD_T, &received);
  return received;
}

long TransportTransfer::localPort() const {
  long port = 0;  // CURLINFO_ACTIVESOCKET does not know a connection that was used before
  curl_easy_getinfo(handle(), CURLINFO_LOCAL_PORT, &port);
  return stage_ == Stage::sending ? port : 0;
}

bool TransportTransfer::isMultiplexed() const {
  long version = CURL_HTTP_VERSION_NONE;
  curl_easy_getinfo(handle(), CURLINFO_HTTP_VERSION, &version);
  return version == CURL_HTTP_VERSION_2_0;
}

std::string TransportTransfer::failureText(CURLcode code) const {
  if (const char* text = response_.failureText(code)) return text;
  if (detail_.front() != '\0') return detail_.data();
  return curl_easy_strerror(code);
}

bool TransportTransfer::wasUnreachable(CURLcode code) const {
  if (code != CURLE_COULDNT_CONNECT) return false;
  long reason = 0;
  curl_easy_getinfo(handle(), CURLINFO_OS_ERRNO, &reason);
  // Without a loopback device its address is not available; with a route, this machine's ports are used up.
  const bool unreachable = reason == ENETUNREACH || reason == EHOSTUNREACH || reason == ENETDOWN ||
                           (reason == EADDRNOTAVAIL && !hadRoute_);
  return unreachable && (addressesTried_ == 1 || !hadRoute_);
}

}  // namespace corvane::platform

#include "api/transport/ResponseReader.h"

#include <algorithm>
#include <utility>

#include "api/transport/HeaderText.h"

namespace corvane::platform {

namespace {

/// RFC 9112, section 5.2: the line continues the value of the field before.
bool isFolded(std::string_view line) {
  return line.front() == ' ' || line.front() == '\t';
}

/// RFC 9112, section 4: "HTTP/", the version, a blank, three digits, and a blank or the end. A trailer may
/// have a name that begins alike.
bool isStatusLine(std::string_view line) {
  const auto blank = line.find(' ');
  if (!line.starts_with("HTTP/") || blank == line.npos) return false;
  const std::string_view status = line.substr(blank + 1);
  const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
  return status.size() >= 3 && std::ranges::all_of(status.substr(0, 3), isDigit) &&
         (status.size() == 3 || status[3] == ' ');
}

}  // namespace

CURLcode ResponseReader::attach(CURL* easy) {
  reset();
  easy_ = easy;
  for (const CURLoption data : {CURLOPT_WRITEDATA, CURLOPT_HEADERDATA}) {
    if (const CURLcode code = curl_easy_setopt(easy, data, this); code != CURLE_OK) return code;
  }
  const CURLcode code = curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &ResponseReader::receiveBody);
  if (code != CURLE_OK) return code;
  return curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &ResponseReader::receiveHeader);
}

void ResponseReader::reset() {
  easy_ = nullptr;
  part_ = Part::statusLine;
  headers_.clear();
  latest_ = headers_.end();
  headerSize_ = 0;
  headerLines_ = 0;
  exceededLimit_ = nullptr;
  body_ = std::string();
  bodyIsTruncated_ = false;
}

std::optional<HTTPResponse> ResponseReader::take(CURLcode code) {
  const bool endedByReader = code == CURLE_WRITE_ERROR && bodyIsTruncated_;
  if ((code != CURLE_OK && !endedByReader) || part_ != Part::afterFields) return std::nullopt;
  latest_ = headers_.end();
  return HTTPResponse{.statusCode = status(),
                      .body = std::exchange(body_, {}),
                      .bodyIsTruncated = bodyIsTruncated_,
                      .headers = std::exchange(headers_, {})};
}

const char* ResponseReader::failureText(CURLcode code) const {
  if (exceededLimit_) return exceededLimit_;
  if (part_ == Part::afterFields) return nullptr;
  if (code == CURLE_OK) return "the connection was closed before the end of the answer's headers";
  // The longest line that libcurl takes depends on its version; it says that memory is short.
  curl_off_t firstByte = 0;
  if (easy_ == nullptr) return nullptr;
  curl_easy_getinfo(easy_, CURLINFO_STARTTRANSFER_TIME_T, &firstByte);
  return code == CURLE_OUT_OF_MEMORY && firstByte > 0 ? "a header line of the answer is too long" : nullptr;
}

std::size_t ResponseReader::receiveBody(char* data, std::size_t, std::size_t size, void* self) noexcept {
  auto& reader = *static_cast<ResponseReader*>(self);
  const std::size_t kept = std::min(size, maxBodySize - reader.body_.size());
  reader.body_.append(data, kept);
  reader.bodyIsTruncated_ = kept < size;
  return reader.bodyIsTruncated_ ? CURL_WRITEFUNC_ERROR : size;
}

std::size_t ResponseReader::receiveHeader(char* data, std::size_t, std::size_t size, void* self) noexcept {
  auto& reader = *static_cast<ResponseReader*>(self);
  if (!reader.count(size)) return CURL_WRITEFUNC_ERROR;
  reader.read({data, size});
  return size;
}

bool ResponseReader::count(std::size_t size) {
  headerSize_ += size;
  if (headerSize_ > maxHeaderSize) exceededLimit_ = "the answer's headers are larger than 256 KiB";
  if (++headerLines_ > maxHeaderLines) exceededLimit_ = "the answer has more than 1,000 header lines";
  return exceededLimit_ == nullptr;
}

void ResponseReader::read(std::string_view line) {
  const std::string_view content = line.substr(0, line.find_first_of("\r\n"));
  if (part_ == Part::afterFields && isStatusLine(content)) part_ = Part::statusLine;
  if (part_ == Part::statusLine) {
    headers_.clear();
    latest_ = headers_.end();
    body_.clear();
    part_ = Part::fields;
  } else if (part_ == Part::fields) {
    content.empty() ? endFields() : readField(content);
  }
}

void ResponseReader::readField(std::string_view line) {
  if (isFolded(line)) {
    const std::string_view continued = trimmed(line);
    if (latest_ != headers_.end() && !continued.empty()) latest_->second.append(" ").append(continued);
    return;
  }
  const auto colon = line.find(':');
  if (colon == line.npos) return;  // libcurl refuses the response
  const std::string_view value = trimmed(line.substr(colon + 1));
  latest_ = headers_.insert_or_assign(lowerCased(line.substr(0, colon)), value).first;
}

/// After an interim response the final one follows. 101 is final: the library asks for no other protocol.
void ResponseReader::endFields() {
  const bool isInterim = status() >= 100 && status() < 200 && status() != 101;
  part_ = isInterim ? Part::statusLine : Part::afterFields;
}

int ResponseReader::status() const {
  long status = -1;
  curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
  return static_cast<int>(status);
}

}  // namespace corvane::platform

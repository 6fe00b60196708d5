#include "process/SandboxProcess.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace corvane::test {
namespace {

using nlohmann::json;
using CurlHandle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
using CurlLines = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

CurlHandle makeHandle(const std::string& url, const std::string& certificateFile) {
  static std::once_flag initialised;
  std::call_once(initialised, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  CurlHandle handle(curl_easy_init(), &curl_easy_cleanup);
  curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_NOPROXY, "*");
  curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT, 60L);
  if (!certificateFile.empty()) curl_easy_setopt(handle.get(), CURLOPT_CAINFO, certificateFile.c_str());
  return handle;
}

size_t appendBody(char* data, size_t size, size_t count, void* target) {
  static_cast<std::string*>(target)->append(data, size * count);
  return size * count;
}

std::map<std::string, std::string> headersOf(CURL* handle) {
  std::map<std::string, std::string> headers;
  for (curl_header* header = nullptr; (header = curl_easy_nextheader(handle, CURLH_HEADER, -1, header));) {
    std::string name = header->name;
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::tolower(c); });
    headers[name] = header->value;
  }
  return headers;
}

struct ConditionWait {
  const SandboxProcess& sandbox;
  const std::function<bool(const json&)>& condition;
  json records;
  std::string failure;
  bool satisfied = false;

  bool check() {
    records = sandbox.records();
    return satisfied = condition(records);
  }
};

// The stream only tells that the records have changed; they are read again. No exception may pass through
// libcurl, which is C.
size_t checkAgain(char*, size_t size, size_t count, void* target) {
  auto& wait = *static_cast<ConditionWait*>(target);
  try {
    return wait.check() ? 0 : size * count;
  } catch (const std::exception& error) {
    wait.failure = error.what();
    return 0;
  }
}

const SandboxAnswer& expectSuccess(const SandboxAnswer& answer, const std::string& what) {
  if (answer.status >= 200 && answer.status <= 299) return answer;
  throw std::runtime_error("sandbox: " + what + " was answered " + std::to_string(answer.status) + " " +
                           answer.body + answer.error);
}

}  // namespace

json SandboxAnswer::json() const {
  return nlohmann::json::parse(body);
}

SandboxProcess::SandboxProcess(std::vector<std::string> options, const std::string& program) {
  options.insert(options.begin(), {"--port", "0", "--exit-on-eof"});
  if (std::ranges::find(options, "--tls") != options.end()) {
    temporaryFolder_ = (std::filesystem::temp_directory_path() / "corvane-sandbox-XXXXXX").string();
    if (!mkdtemp(temporaryFolder_.data())) throw std::runtime_error("sandbox: no temporary folder");
    certificateFile_ = temporaryFolder_ + "/certificate.pem";
    options.insert(options.end(), {"--certificate-file", certificateFile_});
  }
  process_.emplace(program.empty() ? CORVANE_SANDBOX_PATH : program, std::move(options));
  const std::string prefix = "corvane-sandbox listening on ";
  const std::string line = process_->readLine().value_or("");
  if (!line.starts_with(prefix)) throw std::runtime_error("sandbox: it did not start, but printed: " + line);
  baseURL_ = line.substr(prefix.size());
}

SandboxProcess::~SandboxProcess() {
  process_.reset();
  std::error_code ignored;
  if (!temporaryFolder_.empty()) std::filesystem::remove_all(temporaryFolder_, ignored);
}

int SandboxProcess::terminate(int signal) {
  process_->kill(signal);
  end_ = process_->awaitEnd();
  return end_.status;
}

int SandboxProcess::closeInput() {
  process_->closeInput();
  end_ = process_->awaitEnd();
  return end_.status;
}

SandboxAnswer SandboxProcess::request(const std::string& method, const std::string& path,
                                      const std::string& body,
                                      const std::vector<std::string>& headers) const {
  SandboxAnswer answer;
  const CurlHandle handle = makeHandle(baseURL_ + path, certificateFile_);
  CurlLines lines(nullptr, &curl_slist_free_all);
  for (const auto& header : headers) lines.reset(curl_slist_append(lines.release(), header.c_str()));
  curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, lines.get());
  if (!body.empty()) {
    curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, body.data());
  }
  curl_easy_setopt(handle.get(), CURLOPT_CUSTOMREQUEST, method.c_str());
  curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, &appendBody);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &answer.body);
  const CURLcode code = curl_easy_perform(handle.get());
  curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &answer.status);
  answer.headers = headersOf(handle.get());
  if (code != CURLE_OK) {
    answer.status = 0;
    answer.error = curl_easy_strerror(code);
  }
  return answer;
}

SandboxAnswer SandboxProcess::post(const std::string& path, const json& body,
                                   std::vector<std::string> headers) const {
  headers.push_back("Content-Type: application/json");
  return request("POST", path, body.dump(), headers);
}

json SandboxProcess::link(const json& link) const {
  return expectSuccess(post("/sandbox/links", link), "the link").json();
}

SandboxProcess::Click SandboxProcess::click(const std::string& slug, double ageSeconds) const {
  const SandboxAnswer answer = post("/sandbox/clicks", {{"slug", slug}, {"ageSeconds", ageSeconds}});
  const json click = expectSuccess(answer, "the click").json();
  return {click.at("token"), click.at("text")};
}

void SandboxProcess::faults(const json& faults) const {
  expectSuccess(post("/sandbox/faults", faults), "the fault");
}

void SandboxProcess::clearFaults() const {
  expectSuccess(request("DELETE", "/sandbox/faults"), "clearing the faults");
}

json SandboxProcess::records() const {
  return expectSuccess(request("GET", "/sandbox/records"), "reading the records").json();
}

void SandboxProcess::reset() const {
  expectSuccess(request("DELETE", "/sandbox/records"), "clearing the records");
}

json SandboxProcess::awaitRecords(const std::function<bool(const json&)>& condition,
                                  std::chrono::milliseconds timeout) const {
  ConditionWait wait{*this, condition, {}, {}, false};
  const CurlHandle handle = makeHandle(baseURL_ + "/sandbox/stream", certificateFile_);
  curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT_MS, static_cast<long>(timeout.count()));
  curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, &checkAgain);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &wait);
  const CURLcode code = curl_easy_perform(handle.get());
  if (wait.satisfied) return wait.records;
  if (!wait.failure.empty()) throw std::runtime_error(wait.failure);
  throw std::runtime_error(std::string("sandbox: the records did not satisfy the condition (") +
                           curl_easy_strerror(code) + "): " + wait.records.dump());
}

}  // namespace corvane::test

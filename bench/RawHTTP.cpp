#include "RawHTTP.h"

#include <curl/curl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "Server.h"

namespace corvane::bench {
namespace {

std::size_t take(char* bytes, std::size_t, std::size_t count, void* response) {
  static_cast<std::string*>(response)->append(bytes, count);
  return count;
}

/// No two requests of any process have the same key.
std::string newKey() {
  static unsigned count = 0;
  char key[64];
  std::snprintf(key, sizeof key, "Idempotency-Key: %08X-60B9-4B0F-9C6A-%012X", unsigned(::getpid()), ++count);
  return key;
}

/// Prints a failure. Ends the process after many.
bool hasSucceeded(CURLcode code, CURL* handle) {
  if (code == CURLE_OK) return true;
  static int failures = 0;
  long systemError = 0;
  curl_easy_getinfo(handle, CURLINFO_OS_ERRNO, &systemError);
  std::fprintf(stderr, "corvane_bench: libcurl: %s (errno %ld)\n", curl_easy_strerror(code), systemError);
  if (++failures == 100) std::_Exit(1);
  return false;
}

}  // namespace

std::string eventBody() {
  return R"({"currency":"EUR","deviceId":"5D0AC8B0-60B9-4B0F-9C6A-3F3B0C2C2B1E",)"
         R"("identifier":"com.example.bench","name":"purchase","platform":"iOS","value":9.99})";
}

std::string installBody() {
  return R"({"consent":true,"deviceId":"5D0AC8B0-60B9-4B0F-9C6A-3F3B0C2C2B1E",)"
         R"("identifier":"com.example.bench","platform":"iOS"})";
}

double connectMilliseconds() {
  CURL* const handle = curl_easy_init();
  curl_easy_setopt(handle, CURLOPT_URL, serverURL().c_str());
  curl_easy_setopt(handle, CURLOPT_CONNECT_ONLY, 1L);
  while (!hasSucceeded(curl_easy_perform(handle), handle)) continue;
  curl_off_t microseconds = 0;
  curl_easy_getinfo(handle, CURLINFO_CONNECT_TIME_T, &microseconds);
  curl_easy_cleanup(handle);
  return double(microseconds) / 1e3;
}

RawPost::RawPost(const std::string& path, std::string body)
    : handle_(curl_easy_init()), body_(std::move(body)) {
  curl_easy_setopt(handle_, CURLOPT_URL, (serverURL() + path).c_str());
  curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, body_.c_str());
  curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle_, CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(handle_, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, take);
  curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &response_);
}

RawPost::~RawPost() {
  curl_easy_cleanup(handle_);
  curl_slist_free_all(static_cast<curl_slist*>(headers_));
}

void RawPost::renew() {
  response_.clear();
  curl_slist* list = nullptr;
  for (const char* header : {"Content-Type: application/json", "X-Api-Key: cv_bench"})
    list = curl_slist_append(list, header);
  list = curl_slist_append(list, newKey().c_str());
  curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, list);
  curl_slist_free_all(static_cast<curl_slist*>(std::exchange(headers_, list)));
}

void EasyLoop::shareSessions() {
  static CURLSH* const share = curl_share_init();
  curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  curl_easy_setopt(post_.handle(), CURLOPT_SHARE, share);
}

void EasyLoop::post() {
  do post_.renew();
  while (!hasSucceeded(curl_easy_perform(post_.handle()), post_.handle()));
}

EasyThread::EasyThread() : thread_([this] { work(); }) {}

EasyThread::~EasyThread() {
  {
    const std::lock_guard lock(mutex_);
    turn_ = Turn::end;
  }
  changed_.notify_all();
  thread_.join();
}

void EasyThread::post() {
  std::unique_lock lock(mutex_);
  turn_ = Turn::worker;
  changed_.notify_all();
  changed_.wait(lock, [this] { return turn_ == Turn::caller; });
}

void EasyThread::work() {
  EasyLoop loop;
  for (;;) {
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return turn_ != Turn::caller; });
      if (turn_ == Turn::end) return;
    }
    loop.post();
    {
      const std::lock_guard lock(mutex_);
      turn_ = Turn::caller;
    }
    changed_.notify_all();
  }
}

MultiLoop::MultiLoop(int width, Connections connections) : multi_(curl_multi_init()) {
  const bool isShared = connections == Connections::one;
  if (isShared) curl_multi_setopt(multi_, CURLMOPT_MAX_HOST_CONNECTIONS, 1L);
  for (int i = 0; i < width; ++i) {
    posts_.push_back(std::make_unique<RawPost>("/v1/events", eventBody()));
    curl_easy_setopt(posts_.back()->handle(), CURLOPT_PRIVATE, posts_.back().get());
    if (isShared) curl_easy_setopt(posts_.back()->handle(), CURLOPT_PIPEWAIT, 1L);
  }
}

MultiLoop::~MultiLoop() {
  posts_.clear();
  curl_multi_cleanup(multi_);
}

void MultiLoop::begin(RawPost& post) {
  post.renew();
  curl_multi_add_handle(multi_, post.handle());
}

void MultiLoop::post(int count) {
  int begun = 0, done = 0;
  const auto width = std::min(count, static_cast<int>(posts_.size()));
  for (; begun < width; ++begun) begin(*posts_[static_cast<std::size_t>(begun)]);
  while (done < count) {
    int running = 0, left = 0;
    curl_multi_perform(multi_, &running);
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
      CURL* const handle = message->easy_handle;
      const bool isDone = hasSucceeded(message->data.result, handle);
      curl_multi_remove_handle(multi_, handle);
      RawPost* free = nullptr;
      curl_easy_getinfo(handle, CURLINFO_PRIVATE, &free);
      if (isDone) ++done;
      if (!isDone || begun++ < count) begin(*free);
    }
    if (done < count) curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
  }
}

}  // namespace corvane::bench

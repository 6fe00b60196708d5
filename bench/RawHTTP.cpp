#include "RawHTTP.h"

#include <curl/curl.h>

#include <memory>
#include <vector>

#include "Server.h"

namespace corvane::bench {
namespace {

std::size_t take(char* bytes, std::size_t, std::size_t count, void* response) {
  static_cast<std::string*>(response)->append(bytes, count);
  return count;
}

curl_slist* eventHeaders() {
  curl_slist* list = nullptr;
  for (const char* header : {"Content-Type: application/json", "X-Api-Key: cv_bench",
                             "Idempotency-Key: 5D0AC8B0-60B9-4B0F-9C6A-3F3B0C2C2B1E"})
    list = curl_slist_append(list, header);
  return list;
}

CURL* eventHandle(const std::string& body, curl_slist* headers, std::string& response) {
  CURL* const handle = curl_easy_init();
  curl_easy_setopt(handle, CURLOPT_URL, (serverURL() + "/v1/events").c_str());
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body.c_str());
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, take);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &response);
  return handle;
}

}  // namespace

std::string eventBody() {
  return R"({"currency":"EUR","deviceId":"5D0AC8B0-60B9-4B0F-9C6A-3F3B0C2C2B1E",)"
         R"("identifier":"com.example.bench","name":"purchase","platform":"iOS","value":9.99})";
}

EasyLoop::EasyLoop() : headers_(eventHeaders()) {
  handle_ = eventHandle(body_, static_cast<curl_slist*>(headers_), response_);
}

EasyLoop::~EasyLoop() {
  curl_easy_cleanup(handle_);
  curl_slist_free_all(static_cast<curl_slist*>(headers_));
}

void EasyLoop::post() {
  response_.clear();
  curl_easy_perform(handle_);
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

void postOnMulti(int count, int width) {
  // Kept between batches, as the library keeps its connections.
  static CURLM* const multi = curl_multi_init();
  static curl_slist* const headers = eventHeaders();
  static const std::string body = eventBody();
  static std::vector<std::string> responses(static_cast<std::size_t>(width));
  static std::vector<CURL*> handles = [] {
    std::vector<CURL*> made;
    for (std::string& response : responses) made.push_back(eventHandle(body, headers, response));
    return made;
  }();
  int begun = 0, done = 0;
  for (; begun < width; ++begun) curl_multi_add_handle(multi, handles[static_cast<std::size_t>(begun)]);
  while (done < count) {
    int running = 0, left = 0;
    curl_multi_perform(multi, &running);
    while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
      CURL* const handle = message->easy_handle;
      curl_multi_remove_handle(multi, handle);
      ++done;
      if (begun++ < count) curl_multi_add_handle(multi, handle);
    }
    if (done < count) curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
  }
}

}  // namespace corvane::bench

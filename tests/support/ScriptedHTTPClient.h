#pragma once

#include <boost/asio/awaitable.hpp>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "api/HTTPClient.h"
#include "corvane/CorvaneError.h"
#include "foundation/Suspend.h"

namespace corvane::test {

/// A transport that answers by script, in order, and keeps what was sent. An exchange for which there is no
/// answer yet waits until `answer` is called.
class ScriptedHTTPClient : public HTTPClient {
 public:
  using Answer = std::variant<HTTPResponse, CorvaneError>;

  boost::asio::awaitable<HTTPResponse> send(URLRequest request) override {
    sent.push_back(std::move(request));
    const bool cancelled = co_await isCancelled();
    if (cancelled) throw CorvaneError::transport("cancelled");
    if (script_.empty()) {
      std::function<void(std::function<void()>)> wait = [this](auto resume) { waiting_.push_back(resume); };
      co_await suspendUntil(std::move(wait));
    }
    Answer next = std::move(script_.front());
    script_.pop_front();
    if (const auto* error = std::get_if<CorvaneError>(&next)) throw *error;
    co_return std::get<HTTPResponse>(std::move(next));
  }

  void answer(Answer next) {
    script_.push_back(std::move(next));
    if (waiting_.empty()) return;
    const auto resume = std::move(waiting_.front());
    waiting_.pop_front();
    resume();
  }

  void answer(int statusCode, std::string body, std::map<std::string, std::string> headers = {}) {
    answer(HTTPResponse{.statusCode = statusCode, .body = std::move(body), .headers = std::move(headers)});
  }

  bool isWaiting() const { return !waiting_.empty(); }

  std::vector<URLRequest> sent;

 private:
  std::deque<Answer> script_;
  std::deque<std::function<void()>> waiting_;
};

}  // namespace corvane::test

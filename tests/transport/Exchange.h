#pragma once

#include <future>
#include <memory>
#include <string>
#include <utility>

#include "api/transport/URLSession.h"
#include "support/Await.h"

namespace corvane::test {

/// An exchange that a test has begun.
struct Exchange {
  platform::Transport& transport;
  platform::Transport::ExchangeID id;
  std::string url;
  std::future<platform::URLSessionResult> future;

  void cancel() const { transport.cancel(id); }
  bool hasEnded() const { return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }
  platform::URLSessionResult result() { return await(future, "the result of " + url); }
};

inline Exchange begin(const platform::URLSession& session, URLRequest request) {
  auto promise = std::make_shared<std::promise<platform::URLSessionResult>>();
  const auto completion = [promise](platform::URLSessionResult result) {
    promise->set_value(std::move(result));  // throws, and so ends the test program, when called twice
  };
  std::string url = request.url;
  const auto id = session.transport.begin(std::move(request), session.configuration, completion);
  return {session.transport, id, std::move(url), promise->get_future()};
}

inline platform::URLSessionResult run(const platform::URLSession& session, URLRequest request) {
  return begin(session, std::move(request)).result();
}

/// The response. Throws the failure's text when there is none.
inline HTTPResponse response(platform::URLSessionResult result) {
  if (const auto* text = std::get_if<std::string>(&result)) throw std::runtime_error(*text);
  return std::get<HTTPResponse>(std::move(result));
}

/// The failure's text; empty after a response.
inline std::string failure(const platform::URLSessionResult& result) {
  const auto* text = std::get_if<std::string>(&result);
  return text ? *text : "";
}

inline platform::URLSessionConfiguration within(double seconds) {
  return {.timeoutIntervalForRequest = seconds, .timeoutIntervalForResource = seconds};
}

}  // namespace corvane::test

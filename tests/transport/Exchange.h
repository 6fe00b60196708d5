#pragma once

#include <future>
#include <memory>
#include <string>
#include <utility>

#include "api/transport/URLSession.h"

namespace corvane::test {

/// An exchange that a test has begun: its handle, and its result, whenever it comes.
struct Exchange {
  platform::Transport& transport;
  platform::Transport::ExchangeID id;
  std::future<platform::URLSessionResult> result;

  void cancel() const { transport.cancel(id); }
};

inline Exchange begin(const platform::URLSession& session, URLRequest request) {
  auto promise = std::make_shared<std::promise<platform::URLSessionResult>>();
  const auto completion = [promise](platform::URLSessionResult result) {
    promise->set_value(std::move(result));  // throws, and so ends the test program, when called twice
  };
  const auto id = session.transport.begin(std::move(request), session.configuration, completion);
  return {session.transport, id, promise->get_future()};
}

inline platform::URLSessionResult run(const platform::URLSession& session, URLRequest request) {
  return begin(session, std::move(request)).result.get();
}

/// The response; throws with the failure's text where there is none.
inline HTTPResponse response(platform::URLSessionResult result) {
  if (const auto* text = std::get_if<std::string>(&result)) throw std::runtime_error(*text);
  return std::get<HTTPResponse>(std::move(result));
}

/// The failure's text; empty where a response came.
inline std::string failure(const platform::URLSessionResult& result) {
  const auto* text = std::get_if<std::string>(&result);
  return text ? *text : "";
}

inline platform::URLSessionConfiguration within(double seconds) {
  return {.timeoutIntervalForRequest = seconds, .timeoutIntervalForResource = seconds};
}

}  // namespace corvane::test

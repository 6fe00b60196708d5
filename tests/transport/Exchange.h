#pragma once

#include <future>
#include <memory>
#include <string>
#include <utility>

#include "platform/URLSession.h"

namespace corvane::test {

/// An exchange that a test has begun: its handle, and its result, whenever it comes.
struct Exchange {
  std::shared_ptr<platform::URLSessionDataTask> task;
  std::future<platform::URLSessionResult> result;
};

inline Exchange begin(const platform::URLSession& session, URLRequest request) {
  auto promise = std::make_shared<std::promise<platform::URLSessionResult>>();
  Exchange exchange;
  exchange.result = promise->get_future();
  exchange.task = session.data(std::move(request), [promise](platform::URLSessionResult result) {
    promise->set_value(std::move(result));  // throws, and so ends the test program, when called twice
  });
  return exchange;
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

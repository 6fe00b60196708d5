#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "HTTPMessage.h"
#include "Store.h"

namespace corvane::sandbox {

/// The four endpoints that the client library talks to, as docs/backend.md states them.
class Endpoints {
 public:
  /// `keys`: the API keys that are taken; none given takes every key that begins with "cv_".
  Endpoints(Store& store, std::vector<std::string> keys) : store_(store), keys_(std::move(keys)) {}

  struct Answer {
    Response response;
    std::string note;  // what was done, for the records
  };

  /// Takes in a request of any path. A request that is refused changes nothing.
  Answer answer(const Request& request, double now);

 private:
  /// A request of one of the posts, read and found well-formed.
  struct Message {
    nlohmann::json document;
    std::string key;     // its idempotency key, empty without one
    std::string origin;  // where it was sent to
  };
  struct Recorded {
    nlohmann::json answer;
    std::string note;
    bool kept = true;  // whether the answer is given again under the same key
  };
  using Recorder = Recorded (Endpoints::*)(const Message&, double now);

  Answer post(const Request& request, nlohmann::json (*read)(const Request&), Recorder record, double now);
  Recorded install(const Message& message, double now);
  Recorded open(const Message& message, double now);
  Recorded event(const Message& message, double now);
  Answer resolve(const Request& request, double now);

  void requireKey(const Request& request) const;

  Store& store_;
  std::vector<std::string> keys_;
};

}  // namespace corvane::sandbox

#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "HTTPMessage.h"
#include "Store.h"

namespace corvane::sandbox {

/// The four endpoints that the client library uses; docs/backend.md specifies them.
class Endpoints {
 public:
  /// `keys`: the accepted API keys. Without any, every key that begins with "cv_" is accepted.
  Endpoints(Store& store, std::vector<std::string> keys) : store_(store), keys_(std::move(keys)) {}

  struct Answer {
    Response response;
    std::string note;  // what was done, in words, for the records
  };

  /// Answers and records a request of any path. A refused request changes nothing.
  Answer answer(const Request& request, double now);

 private:
  struct Message;
  struct Recorded;
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

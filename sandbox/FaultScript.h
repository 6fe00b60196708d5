#pragma once

#include <list>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "HTTPMessage.h"

namespace corvane::sandbox {

/// A failure of the next requests to a path. docs/backend.md describes its JSON form.
struct Fault {
  std::string path;  // or "*": every path below /v1/
  long times = 1;    // how many more requests it applies to
  std::optional<unsigned> status = {};
  std::optional<std::string> body = {};
  HeaderList headers = {};
  Delivery delivery = {};
  bool processed = true;  // whether the endpoint still handles the request
};

/// The faults of the coming requests, in the order in which they were added. Their number and size are
/// bounded.
class FaultScript {
 public:
  /// Adds one fault or an array of them. Throws `Refusal` and adds none when one is invalid.
  void add(const nlohmann::json& script);
  void clear() { faults_.clear(); }

  /// The fault for a request to that path, if there is one. Counts it as used.
  std::optional<Fault> take(const std::string& path);

  /// The remaining faults, in the form that `add` reads.
  nlohmann::json left() const;
  /// How many more requests will fail.
  long remaining() const;

 private:
  struct Scripted {
    Fault fault;
    std::string source;  // the JSON that it was made from
  };
  std::list<Scripted> faults_;
};

}  // namespace corvane::sandbox

#pragma once

#include <list>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "HTTPMessage.h"

namespace corvane::sandbox {

/// What goes wrong with the next requests of a path. docs/backend.md describes the JSON form.
struct Fault {
  std::string path;  // or "*": every path below /v1/
  long times = 1;    // how many requests it still meets
  std::optional<unsigned> status = {};
  std::optional<std::string> body = {};
  HeaderList headers = {};
  Delivery delivery = {};
  bool processed = true;  // whether the request is taken in all the same
};

/// The faults that are still to come, met in the order in which they were scripted. Their number and size are
/// bounded.
class FaultScript {
 public:
  /// Adds one fault, or each of an array. Refuses (see RequestReading.h) without adding any when one is
  /// wrong.
  void add(const nlohmann::json& script);
  void clear() { faults_.clear(); }

  /// Takes the fault that the next request of that path meets, if any.
  std::optional<Fault> take(const std::string& path);

  /// What is left, in the form that `add` takes.
  nlohmann::json left() const;
  /// How many requests still meet one.
  long remaining() const;

 private:
  struct Scripted {
    Fault fault;
    std::string source;  // the JSON that it was made from
  };
  std::list<Scripted> faults_;
};

}  // namespace corvane::sandbox

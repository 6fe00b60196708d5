#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "FaultScript.h"
#include "Store.h"

namespace corvane::sandbox {

/// The live page's server-sent events: first all present records, then each change.
class Feed {
 public:
  using Publish = std::function<void(const std::string& event)>;

  Feed(Store& store, const FaultScript& faults, Publish publish)
      : store_(store), faults_(faults), publish_(std::move(publish)) {}

  /// The stream's first event.
  std::string beginning(const std::string& origin);

  /// Publishes an event. `kind`: "link", "click", "arrival", "faults" or "cleared".
  void announce(const std::string& kind, const nlohmann::json& row);

 private:
  nlohmann::json counts();

  Store& store_;
  const FaultScript& faults_;
  Publish publish_;
};

}  // namespace corvane::sandbox

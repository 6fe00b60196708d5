#pragma once

#include <map>
#include <string>

namespace corvane {

/// A free-form JSON object with its scalars as texts. Read from the backend, never written.
struct CustomData {
  std::map<std::string, std::string> values;

  friend bool operator==(const CustomData&, const CustomData&) = default;
};

}  // namespace corvane

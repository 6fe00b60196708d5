#pragma once

#include <string>

namespace corvane {

/// The description of the application in every request.
struct DeviceInfo {
  /// The application's identifier; empty when it has none.
  std::string bundleId;
  std::string platform = "iOS";
};

}  // namespace corvane

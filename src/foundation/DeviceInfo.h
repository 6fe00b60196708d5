#pragma once

#include <string>

namespace corvane {

/// What every report says of the application.
struct DeviceInfo {
  /// The application's identifier; empty when it has none.
  std::string bundleId;
  std::string platform = "iOS";
};

}  // namespace corvane

#pragma once

#include <memory>
#include <string>

#include "api/CorvaneAPI.h"
#include "core/ClientCore.h"
#include "core/Consent.h"
#include "foundation/CorvaneLogger.h"
#include "foundation/DeviceInfo.h"

namespace corvane {

/// The parts of a client that every flow gets; each flow adds its own.
struct ClientParts {
  std::shared_ptr<ClientCore> core;
  CorvaneAPI api;
  CorvaneLogger logger;
  DeviceInfo deviceInfo;
  std::string deviceId;
  Consent consent;
};

}  // namespace corvane

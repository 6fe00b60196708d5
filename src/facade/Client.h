#pragma once

#include <memory>
#include <string>

#include "api/CorvaneAPI.h"
#include "core/ClientCore.h"
#include "core/Consent.h"
#include "corvane/Corvane.h"
#include "flows/DeepLinkHandling.h"
#include "flows/EventQueue.h"
#include "flows/EventTracking.h"
#include "flows/InstallTracking.h"
#include "foundation/CorvaneLogger.h"
#include "foundation/DeviceIdentity.h"
#include "foundation/DeviceInfo.h"
#include "foundation/FlagStore.h"
#include "foundation/PasteboardReading.h"
#include "platform/ATTManager.h"
#include "platform/SKANManager.h"

/// What a client is made of. None of it changes after construction; what is mutable is inside `core` and
/// behind its lock.
struct Corvane::Client {
  const CorvaneOptions options;
  const corvane::CorvaneLogger logger;
  const corvane::CorvaneAPI api;
  const corvane::DeviceIdentity deviceIdentity;
  const corvane::DeviceInfo deviceInfo;
  const std::string deviceId;
  const std::shared_ptr<corvane::platform::ATTManager> attManager;
  const corvane::platform::SKANManager skanManager;
  const std::shared_ptr<corvane::FlagStore> flagStore;
  const std::shared_ptr<corvane::EventQueue> eventQueue;
  const std::shared_ptr<corvane::PasteboardReading> pasteboard;
  /// Owned here, and only weakly known to everything that posts to it.
  const std::shared_ptr<CorvaneExecutor> mainExecutor;
  const std::shared_ptr<corvane::ClientCore> core;
  const corvane::Consent consent;
  const std::shared_ptr<corvane::InstallTracking> installTracking;
  const std::shared_ptr<corvane::DeepLinkHandling> deepLinkHandling;
  const std::shared_ptr<corvane::EventTracking> eventTracking;
};

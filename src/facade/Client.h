#pragma once

#include <memory>

#include "api/CorvaneAPI.h"
#include "core/ClientCore.h"
#include "core/Consent.h"
#include "corvane/Corvane.h"
#include "flows/DeepLinkHandling.h"
#include "flows/EventQueue.h"
#include "flows/EventTracking.h"
#include "flows/InstallTracking.h"
#include "foundation/CorvaneLogger.h"
#include "platform/services/ATTManager.h"
#include "platform/services/SKANManager.h"

/// The parts of a client. None of them changes after construction; the mutable state is in `core`, behind its
/// lock.
struct Corvane::Client {
  const CorvaneOptions options;
  const corvane::CorvaneLogger logger;
  const corvane::CorvaneAPI api;
  /// Owned here; all code that posts to it holds it weakly.
  const std::shared_ptr<CorvaneExecutor> mainExecutor;
  const std::shared_ptr<corvane::ClientCore> core;
  const corvane::Consent consent;
  const std::shared_ptr<corvane::EventQueue> eventQueue;
  const corvane::platform::ATTManager attManager;
  const corvane::platform::SKANManager skanManager;
  const std::shared_ptr<corvane::InstallTracking> installTracking;
  const std::shared_ptr<corvane::DeepLinkHandling> deepLinkHandling;
  const std::shared_ptr<corvane::EventTracking> eventTracking;
};

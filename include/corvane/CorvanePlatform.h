#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "corvane/CorvaneAdNetworkProvider.h"
#include "corvane/CorvaneExecutor.h"
#include "corvane/CorvaneOSVersion.h"
#include "corvane/CorvanePasteboard.h"
#include "corvane/CorvaneTrackingAuthorizationProvider.h"

/// What the machine supplies to the library. Every member has a working default; a host replaces those that
/// it has and names the record by `Corvane::setPlatform` before `Corvane::configure`.
///
/// It holds no option of the library: those are in `CorvaneOptions`.
struct CorvanePlatform {
  /// The application's identifier, such as "com.example.shop": sent with every report, and the name of the
  /// folder of the preferences file. Default: empty, which is sent as such; the folder then takes the
  /// executable's name.
  std::string applicationIdentifier = {};

  /// Where the library keeps what must survive a restart. Default (empty):
  /// `$XDG_DATA_HOME/<application identifier>/preferences.sqlite`, with `~/.local/share` where that variable
  /// is not set (the XDG base directories). Where the file cannot be written, values live in memory.
  std::filesystem::path preferencesFile = {};

  /// The main thread. Default (null): `CorvaneMainQueue::main()`, which the host runs or polls. The client
  /// shares ownership while it lives.
  std::shared_ptr<CorvaneExecutor> mainExecutor = nullptr;

  /// The system's pasteboard. Default (null): none, which reads as a pasteboard without text. This platform
  /// has no pasteboard apart from a window system's, which only the host's toolkit can reach.
  std::shared_ptr<CorvanePasteboard> pasteboard = nullptr;

  /// The system's permission to track. Default (null): none, which reads as `restricted`. This platform asks
  /// nobody, so nobody has agreed; the answer is no at once, nothing else in the library depends on it.
  std::shared_ptr<CorvaneTrackingAuthorizationProvider> trackingAuthorization = nullptr;

  /// The system's ad-network attribution. Default (null): none. Its operations are then answered with an
  /// error, which is logged and goes nowhere else: a host may call them on every platform.
  std::shared_ptr<CorvaneAdNetworkProvider> adNetwork = nullptr;

  /// The operating system's version, in the numbering of the ad network's system (iOS). Default: 16.1, the
  /// first whose updates take both values, so that a provider is handed all that the host said. The version
  /// of this machine's own system says nothing about an ad network.
  CorvaneOSVersion operatingSystemVersion = {16, 1};
};

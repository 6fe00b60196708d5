#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "corvane/CorvaneAdNetworkProvider.h"
#include "corvane/CorvaneExecutor.h"
#include "corvane/CorvaneOSVersion.h"
#include "corvane/CorvanePasteboard.h"
#include "corvane/CorvaneTrackingAuthorizationProvider.h"

/// What the library takes from its surroundings: the services of the system that the host supplies, where the
/// data is stored, and how the network is reached. Every member has a working default. Pass the structure to
/// `Corvane::setPlatform` before `Corvane::configure`.
///
/// What the library does is configured in `CorvaneOptions`.
struct CorvanePlatform {
  /// The application's identifier, such as "com.example.shop". It is sent with every report, and it names the
  /// folder of the preferences file. Default: empty; an empty identifier is sent, and the folder takes the
  /// name of the executable.
  std::string applicationIdentifier = {};

  /// The file in which the library stores its data. Default (empty): `$XDG_DATA_HOME/<application
  /// identifier>/preferences.sqlite`, with `~/.local/share` when that variable is not set (XDG Base Directory
  /// Specification). When the file cannot be written, values are kept in memory.
  std::filesystem::path preferencesFile = {};

  /// The main thread. Default (nullptr): `CorvaneMainQueue::main()`, which the host runs or polls. The client
  /// shares ownership.
  std::shared_ptr<CorvaneExecutor> mainExecutor = nullptr;

  /// The system's pasteboard. Default (nullptr): a pasteboard without text. On Linux the pasteboard belongs
  /// to the window system, so only the host's toolkit can access it.
  std::shared_ptr<CorvanePasteboard> pasteboard = nullptr;

  /// The system's permission to track. Default (nullptr): without a provider, authorization is treated as
  /// `restricted`. `requestTrackingAuthorization` then completes with false at once. Nothing else in the
  /// library depends on it.
  std::shared_ptr<CorvaneTrackingAuthorizationProvider> trackingAuthorization = nullptr;

  /// The system's ad-network attribution. Default (nullptr): none. An operation that needs a provider then
  /// logs an error and has no other effect, so a host may call the operations on every platform.
  std::shared_ptr<CorvaneAdNetworkProvider> adNetwork = nullptr;

  /// The version of the operating system, in the numbering of the ad network's system (iOS). Default: 16.1,
  /// the first version whose updates take both conversion values, so that a provider receives all values that
  /// the host passes. It does not describe the operating system of this machine.
  CorvaneOSVersion operatingSystemVersion = {16, 1};

  /// The proxy for all requests, as a URL: scheme (http, https, socks4, socks4a, socks5 or socks5h), host,
  /// port (default 1080; for https 443), and a user and password if the proxy needs them. With socks4a and
  /// socks5h the proxy looks up names. Default (empty): no proxy; the proxy variables of the environment are
  /// not read. Loopback (127.0.0.0/8, ::1, localhost and names below it) is always reached without a proxy.
  /// With any other text each request fails as `transport`, which says so.
  ///
  /// A request to a backend over HTTPS passes through the proxy unread.
  std::string proxy = {};

  /// A PEM file with the certificate authorities that are trusted, and no others, for the backend and for a
  /// proxy of the scheme https. It is read when a connection is made. Default (empty): the system's
  /// authorities. When the file cannot be read, each request over HTTPS fails as `transport`.
  ///
  /// Public keys cannot be pinned: a released application outlives the keys of its backend, and would no
  /// longer reach it. A file with the backend's own authority is the narrowest choice.
  std::filesystem::path certificateAuthorityFile = {};
};

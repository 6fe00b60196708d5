#pragma once

#include <string>
#include <vector>

#include "corvane/CorvaneClickTokenSource.h"
#include "corvane/CorvaneLogLevel.h"
#include "corvane/CorvaneRetryPolicy.h"

/// What a host chooses when it configures the library. The client keeps its own constant copy.
///
/// Made for designated initialisers, in this order:
/// `CorvaneOptions{.logEnabled = true, .linkDomains = {"go.example.com"}}`.
/// Nothing is validated or changed here.
struct CorvaneOptions {
  /// Whether the library writes lines to standard output at all.
  bool logEnabled = false;

  /// The lowest level that is written.
  CorvaneLogLevel logLevel = CorvaneLogLevel::info;

  /// Seconds; how long one try of a request may take, redirects and the wait for a network included. With
  /// three tries, work that fails is known to have failed after about half a minute. Must be positive; values
  /// too small for the clock mean its shortest time-out, never "none".
  double requestTimeout = 10.0;

  CorvaneRetryPolicy retryPolicy = CorvaneRetryPolicy::default_;

  /// The hosts whose URLs are tracking links, sub-domains included, in any letter case. Empty: every host,
  /// and URLs without one. Name them where the application opens URLs of its own, too.
  std::vector<std::string> linkDomains = {};

  /// Whether `configure`, and `setConsent(true)`, track the install by themselves.
  bool autoTrackInstall = true;

  /// With `pasteButton`, set `autoTrackInstall` to false: an automatic run would be counted before the user
  /// can paste. With `automatic` the pasteboard is emptied only when it, or a text that is
  /// handed in, holds a click token.
  CorvaneClickTokenSource clickTokenSource = CorvaneClickTokenSource::automatic;

  /// Whether counting and recording wait for `Corvane::setConsent(true)`.
  bool requireConsent = false;
};

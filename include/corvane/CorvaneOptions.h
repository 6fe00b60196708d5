#pragma once

#include <string>
#include <vector>

#include "corvane/CorvaneClickTokenSource.h"
#include "corvane/CorvaneLogLevel.h"
#include "corvane/CorvaneRetryPolicy.h"

/// The configuration of a client. The client keeps a constant copy.
///
/// Use designated initialisers, in this order:
/// `CorvaneOptions{.logEnabled = true, .linkDomains = {"go.example.com"}}`.
/// The structure does not validate or change a value.
struct CorvaneOptions {
  /// Whether the library writes log lines to standard output.
  bool logEnabled = false;

  /// The lowest level that is written.
  CorvaneLogLevel logLevel = CorvaneLogLevel::info;

  /// Time-out of one attempt of a request in seconds, including redirects and the wait for a network. With
  /// the default of three attempts, a request fails after about half a minute. Must be positive. A value
  /// below the resolution of the clock means the shortest time-out, never "no time-out".
  ///
  /// The time begins when the attempt does. Of opens, resolves and installs four run at once; a fifth waits
  /// for one of them. An event waits in line until its turn comes, as long as responses arrive. When no
  /// request has got a response for this time, the events that have waited that long fail; that counts as an
  /// attempt. Time in which the process does not run, because the device sleeps for example, does not count.
  double requestTimeout = 10.0;

  CorvaneRetryPolicy retryPolicy = CorvaneRetryPolicy::default_;

  /// The hosts whose URLs are tracking links, including sub-domains, in any letter case. Default (empty):
  /// every host, and URLs without a host. Set it when the application also opens URLs that are not tracking
  /// links.
  std::vector<std::string> linkDomains = {};

  /// Whether `configure` and `setConsent(true)` track the install without a call of `trackInstall`.
  bool autoTrackInstall = true;

  /// Where the click token of the first launch comes from. With `pasteButton`, set `autoTrackInstall` to
  /// false: an automatic report would be counted before the user can paste. With `automatic`, the pasteboard
  /// is emptied only when it, or a text passed to `trackInstall`, contains a click token.
  CorvaneClickTokenSource clickTokenSource = CorvaneClickTokenSource::automatic;

  /// Whether counting installs and recording links and events require `Corvane::setConsent(true)`.
  bool requireConsent = false;
};

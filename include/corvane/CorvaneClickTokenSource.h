#pragma once

/// Where the click token of the first launch may come from. A click token is the text that a campaign's
/// landing page leaves on the pasteboard; with it the backend matches the install to the click exactly,
/// without it by likelihood.
enum class CorvaneClickTokenSource {
  /// Only a text that the host hands in counts, normally one from a paste control. The pasteboard is never
  /// read.
  /// Goes with `autoTrackInstall` off: an automatic run would be counted before the user can paste.
  pasteButton,
  /// The library reads the pasteboard whenever it tracks the install by itself, until a campaign's link was
  /// routed; and it takes a text that the host hands in.
  automatic,
  /// No token at all; a text that is handed in is ignored.
  none,
};

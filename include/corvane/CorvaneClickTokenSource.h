#pragma once

/// Where the click token of the first launch comes from. A click token is a text that a campaign's landing
/// page puts on the pasteboard. With the token the backend matches the install to the click exactly; without
/// it, by likelihood.
enum class CorvaneClickTokenSource {
  /// Only a text that the host passes counts, usually from a paste control. The pasteboard is never read. Set
  /// `autoTrackInstall` to false: an automatic report would be counted before the user can paste.
  pasteButton,
  /// The library reads the pasteboard when it tracks the install, until a campaign's link has been routed. A
  /// text that the host passes counts too.
  automatic,
  /// No token is used. A text that the host passes is ignored.
  none,
};

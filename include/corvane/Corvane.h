#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "corvane/CorvaneAttribution.h"
#include "corvane/CorvaneCoarseConversionValue.h"
#include "corvane/CorvaneDeepLink.h"
#include "corvane/CorvaneError.h"
#include "corvane/CorvaneExport.h"
#include "corvane/CorvaneLinkSource.h"
#include "corvane/CorvaneOptions.h"
#include "corvane/CorvanePlatform.h"
#include "corvane/CorvaneTask.h"

/// The client: the one object that a host talks to.
///
/// Every operation may be called from any thread, and returns without waiting for the network or for the main
/// thread. Where an operation reads or writes the preferences file that is said; such a call takes about
/// a millisecond on a healthy disk and is bounded where the disk is not.
///
/// Long-running operations exist in two forms. The plain one returns at once, reports its result through the
/// callbacks, and its failure as an error line and through `onError`. The one whose name ends in `Async`
/// gives a `CorvaneTask`; its failure goes to whoever waits. What was kept or recovered in spite of a failure
/// (an event that is sent again later, a link without the backend's help) goes to `onError` in both forms.
///
/// Callbacks run on the main thread (`CorvanePlatform::mainExecutor`), never inside the call that registers
/// them. They may call anything here. What a callback throws leaves through the executor that ran it; the
/// library's own state is already up to date then, and the operation completes all the same. A callback that
/// captures the client's `shared_ptr` keeps the client alive for ever: capture a `weak_ptr`. A callback that
/// is replaced or removed may still be called with what was queued for it before.
///
/// A client lives while `shared` or the host holds it. Background work holds it weakly and, while it runs,
/// strongly. Do not use the library in a forked child of a process that used it: its threads are not there.
class CORVANE_API Corvane {
 public:
  using AttributionCallback = std::function<void(const CorvaneAttribution&)>;
  using LinkCallback = std::function<void(const CorvaneDeepLink&, CorvaneLinkSource)>;
  using ErrorCallback = std::function<void(const std::exception&)>;

  /// What a client is made of; the library's own.
  struct Client;

  /// Builds a client, makes it `shared()`, starts resending the events that wait from earlier runs and, with
  /// `autoTrackInstall`, tracks the install in the background.
  ///
  /// `apiKey` is taken without the white space and line breaks around it. Throws
  /// `CorvaneError::missingAPIKey` when nothing is left, and changes nothing then; nothing else fails. A
  /// later call builds a fresh client that shares what is stored, but no callback, with the one before. Opens
  /// and reads the preferences file.
  static std::shared_ptr<Corvane> configure(std::string_view apiKey, CorvaneOptions options = {});
  /// The same for a C string; null, as `getenv` gives for a variable that is not set, counts as empty.
  static std::shared_ptr<Corvane> configure(const char* apiKey, CorvaneOptions options = {}) {
    return configure(apiKey == nullptr ? std::string_view() : std::string_view(apiKey), std::move(options));
  }

  /// The current client; null before the first `configure`.
  static std::shared_ptr<Corvane> shared();
  /// Replaces the current client; null clears it.
  static void setShared(std::shared_ptr<Corvane> client);

  /// Names what the machine supplies to clients built afterwards. Call it before `configure`.
  static void setPlatform(CorvanePlatform platform);

  /// Removes everything that the library has stored, so that the next client behaves like a fresh
  /// installation, and says so on standard output. Existing clients keep what they hold in memory.
  static void resetForTesting();

  ~Corvane();
  Corvane(const Corvane&) = delete;
  Corvane& operator=(const Corvane&) = delete;

  /// A copy of the options that the client was built with.
  CorvaneOptions options() const;

  /// Registers the callback for the install's verdict, in place of the one before; an empty one removes it.
  ///
  /// A verdict that is already known, also from an earlier launch, is handed to it soon after. A verdict
  /// equal to the one handed over last is not handed over again.
  void onAttribution(AttributionCallback callback);

  /// Registers the callback for deep links, in place of the one before; an empty one removes it.
  ///
  /// A deferred link that came before any callback was there is handed over soon after, once.
  void onLink(LinkCallback callback);

  /// Registers the callback for failures of the operations that report to nobody else, in place of the one
  /// before; an empty one removes it. It receives a `CorvaneError` or a `CorvaneCancellationError`.
  void onError(ErrorCallback callback);

  /// The last verdict, also of an earlier launch; none while there is none.
  std::optional<CorvaneAttribution> lastAttribution() const;

  /// The last link that opened the running application; none before the first. Kept in memory only.
  std::optional<CorvaneDeepLink> lastDeepLink() const;

  /// Stores the user's answer, for this and every later launch. Writes the preferences file.
  ///
  /// A grant tracks the install, with `autoTrackInstall`, and resends what waits. A denial drops the events
  /// that wait. Without `requireConsent` both do so too, but nothing else depends on the answer. A report
  /// that is in flight when a grant comes was begun without consent, and the grant's own shares it: the
  /// install is then counted by the next `trackInstall` or launch.
  void setConsent(bool isGranted);

  /// Reports the install, unless it was counted before or `force` is set. With `clickTokenSource` `automatic`
  /// the click token is read from the pasteboard.
  ///
  /// At most one report is in flight: callers that come meanwhile share it and its result. The verdict
  /// reaches the host through `onAttribution`, the campaign's link through `onLink` with source `deferred`.
  void trackInstall(bool force);

  /// The same with the click token taken out of `clickToken`, any text that holds "cv_click=" and the token.
  /// A text without one is no failure. Ignored with `clickTokenSource` `none`. When a token is found the
  /// pasteboard is emptied.
  void trackInstall(std::string_view clickToken, bool force);

  /// As `trackInstall(force)`. The result of a call that is skipped is `lastAttribution()`, or a verdict
  /// without id and link where there is none.
  CorvaneTask<CorvaneAttribution> trackInstallAsync(bool force);

  /// As `trackInstall(clickToken, force)`.
  CorvaneTask<CorvaneAttribution> trackInstallAsync(std::string_view clickToken, bool force);

  /// Handles the URL that opened the running application, when it is a tracking link: true means that it is
  /// one and that its handling has begun, false that it is not one and that nothing else will happen. Sends
  /// and stores nothing itself. Never fails. A URL of an ordinary length takes microseconds, one of 64 KiB at
  /// most a millisecond; a longer one is no link.
  ///
  /// The link is recorded by the backend or, while consent is required and missing, only looked up. It
  /// becomes `lastDeepLink()` and reaches the host through `onLink` with source `reengagement`. Where the
  /// backend does not help, it holds what the URL holds: the slug, the URL, and as `deepLinkPath` the value
  /// of the URL's last "path" item; the failure to record it goes to `onError`, before the link.
  ///
  /// A tracking link is a URL with a scheme (RFC 3986), a first path segment, which is the slug, and a host
  /// that is or is below one of `linkDomains`, where there are any. White space around the text is dropped.
  /// What the RFC does not allow is percent-encoded first, as campaign links hold unexpanded macros and free
  /// text; then the URL is read, its segments split at "/" and decoded. Empty segments are skipped. A first
  /// segment that is then "." or "..", holds "/" or "\", or is not UTF-8 is no slug. "+" stays "+".
  ///
  /// | text                                         | handled | host            | slug       | path item  |
  /// |----------------------------------------------|---------|-----------------|------------|------------|
  /// | `https://go.example/summer/x?path=/sale`     | yes     | `go.example`    | `summer`   | `/sale`    |
  /// | `HTTPS://user@GO.example:/{campaign}?path=`  | yes     | `GO.example`    | `{campaign}` | empty    |
  /// | `https://go.example//a b\|c?x=%%GAID%%`      | yes     | `go.example`    | `a b\|c`   |            |
  /// | `https://[2001:db8::1]:8080/s#path=/no`      | yes     | `2001:db8::1`   | `s`        |            |
  /// | `https://go.example/été?path=a+b&path=%zz`   | yes     | `go.example`    | `été`      | `%zz`      |
  /// | `https://go.example/s?a?path=/x&path=/y?z`   | yes     | `go.example`    | `s`        | `/y?z`     |
  /// | `shop:///abc`, `shop:abc`                    | yes     | none            | `abc`      |            |
  /// | `shop://open/abc`                            | yes     | `open`          | `abc`      |            |
  /// | `https://go.example`, `https://go.example//` | no      |                 |            |            |
  /// | `https://go.example/%2e%2E/abc`, `…/a%2Fb`, `…/a%5Cb` | no |             |            |            |
  /// | `https://go.example/%FF`                     | no      |                 |            |            |
  /// | `go.example/summer`, `/summer`, ``           | no      |                 |            |            |
  ///
  /// (Blank: there is none. Without `linkDomains`: with some, a link without a host is none of theirs.)
  bool handleDeepLink(std::string_view url);

  /// The same; the task gives the link when `onLink` has returned, or fails with
  /// `CorvaneError::notACorvaneURL`. Failures of the backend do not make it fail.
  CorvaneTask<CorvaneDeepLink> handleDeepLinkAsync(std::string_view url);

  /// Sends a named event, with an amount and its currency (ISO 4217, sent in upper case) where it has them.
  ///
  /// An event that fails, for whatever reason, is kept in the preferences file with the key that it was sent
  /// with, and goes to `onError`. The next success, `configure`, a grant and a counted install send what is
  /// kept again, so that the backend records each event once. At most 100 are kept, and of those no more than
  /// 4 MiB; beyond that the oldest go, and a single event larger than that is not kept. An event that has no
  /// JSON form, as its value is not finite or a text is not UTF-8, fails and is not kept. While consent is
  /// required and missing, events are dropped. What is in flight when the process exits is kept; when it is
  /// killed, what has failed by then is.
  void trackEvent(std::string_view name, std::optional<double> value = std::nullopt,
                  std::optional<std::string_view> currency = std::nullopt);

  /// The same; the task gives the backend's answer, a result without id for an event that was dropped, or the
  /// failure of an event that was kept.
  CorvaneTask<CorvaneEventResult> trackEventAsync(std::string_view name,
                                                  std::optional<double> value = std::nullopt,
                                                  std::optional<std::string_view> currency = std::nullopt);

  /// Asks for permission to track, by `CorvanePlatform::trackingAuthorization`, and calls `completion` with
  /// whether it is given: once, on the main thread, never inside this call, also where the answer is known
  /// already. The user is asked only while the status is `notDetermined`; any other is answered at once,
  /// with a line where it is no.
  ///
  /// The answer is not kept and changes nothing here: neither consent nor what is sent. Where the provider
  /// never answers, neither does this. `completion` outlives the client until then.
  void requestTrackingAuthorization(std::function<void(bool isAuthorized)> completion);

  /// The same; the task never fails. Cancelling it has no effect: the user is not un-asked.
  CorvaneTask<bool> requestTrackingAuthorizationAsync();

  /// Registers the application for ad-network attribution by `CorvanePlatform::adNetwork`, as the operating
  /// system's version asks for: from 16.1 on there is nothing to do, from 15.4 on it is an update with the
  /// value 0, and before that a registration. What comes of it is logged and goes nowhere else.
  void registerForSKAdAttribution();

  /// Sets the conversion value of ad-network attribution: `value` as it stands (the ad network takes 0 to
  /// 63), and from 16.1 on `coarse`, or `low` where there is none. Before 15.4 there are no conversion values
  /// and the application is registered instead. What comes of it is logged and goes nowhere else.
  void updateConversionValue(std::int64_t value,
                             std::optional<CorvaneCoarseConversionValue> coarse = std::nullopt);

  // Null is no text.
  bool handleDeepLink(std::nullptr_t url) = delete;
  CorvaneTask<CorvaneDeepLink> handleDeepLinkAsync(std::nullptr_t url) = delete;
  void trackEvent(std::string_view name, std::optional<double> value, std::nullptr_t currency) = delete;
  CorvaneTask<CorvaneEventResult> trackEventAsync(std::string_view name, std::optional<double> value,
                                                  std::nullptr_t currency) = delete;
  // The value comes first, and is whole.
  template <class T>
    requires(!std::is_integral_v<T>)
  void updateConversionValue(T value,
                             std::optional<CorvaneCoarseConversionValue> coarse = std::nullopt) = delete;
  // A text is no `force`: without these, a lone literal would convert to true.
  template <class T>
    requires(!std::is_same_v<T, bool>)
  void trackInstall(T force) = delete;
  template <class T>
    requires(!std::is_same_v<T, bool>)
  CorvaneTask<CorvaneAttribution> trackInstallAsync(T force) = delete;
  void trackInstall(std::nullptr_t clickToken, bool force) = delete;
  CorvaneTask<CorvaneAttribution> trackInstallAsync(std::nullptr_t clickToken, bool force) = delete;
  void trackInstall(std::string_view clickToken, const void* force) = delete;
  CorvaneTask<CorvaneAttribution> trackInstallAsync(std::string_view clickToken, const void* force) = delete;

 private:
  friend class CorvanePasteCoordinator;

  explicit Corvane(std::unique_ptr<Client> client);

  std::unique_ptr<Client> client_;
};

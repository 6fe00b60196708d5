#pragma once

#include <string_view>

/// Every key that the library persists. The stored name is the prefix, a full stop and the key.
namespace corvane::keys {

inline constexpr std::string_view prefix = "io.corvane";

inline constexpr std::string_view installTracked = "install_tracked";  ///< Bool: the install was counted
inline constexpr std::string_view deferredRouted = "deferred_routed";  ///< Bool: its deep link was routed
inline constexpr std::string_view lastAttribution =
    "last_attribution";                                        ///< bytes: JSON of the last attribution result
inline constexpr std::string_view eventQueue = "event_queue";  ///< bytes: JSON of the unsent events
inline constexpr std::string_view consentSet = "consent_set";  ///< Bool: the user has decided once
inline constexpr std::string_view consentGranted = "consent_granted";  ///< Bool: the latest decision
inline constexpr std::string_view deviceId = "device_id";              ///< text: upper-case UUID

}  // namespace corvane::keys

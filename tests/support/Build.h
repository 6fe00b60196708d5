#pragma once

namespace corvane::test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool underSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool underSanitizer = true;
#else
inline constexpr bool underSanitizer = false;
#endif
#else
inline constexpr bool underSanitizer = false;
#endif

/// Whether what is repeated at drawn moments is repeated in full: once, by g++ without sanitizers. The other
/// builds look for other faults.
#if defined(__clang__)
inline constexpr bool repeatsInFull = false;
#else
inline constexpr bool repeatsInFull = !underSanitizer;
#endif

}  // namespace corvane::test

#pragma once

namespace corvane::test {

#if defined(__has_feature)
#define CORVANE_TEST_HAS_FEATURE(name) __has_feature(name)
#else
#define CORVANE_TEST_HAS_FEATURE(name) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || CORVANE_TEST_HAS_FEATURE(address_sanitizer)
inline constexpr bool underAddressSanitizer = true;
#else
inline constexpr bool underAddressSanitizer = false;
#endif

#if defined(__SANITIZE_THREAD__) || CORVANE_TEST_HAS_FEATURE(thread_sanitizer)
inline constexpr bool underSanitizer = true;
#else
inline constexpr bool underSanitizer = underAddressSanitizer;
#endif

/// Whether tests that repeat at random moments do so in full: with g++ and without sanitizers. Other builds
/// repeat less, because they are run for other faults.
#if defined(__clang__)
inline constexpr bool repeatsInFull = false;
#else
inline constexpr bool repeatsInFull = !underSanitizer;
#endif

}  // namespace corvane::test

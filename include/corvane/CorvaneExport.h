#pragma once

/// Marks the symbols that a shared build of the library exports. All others are hidden.
#if defined(_WIN32)
#if defined(CORVANE_BUILDING)
#define CORVANE_API __declspec(dllexport)
#elif defined(CORVANE_SHARED)
#define CORVANE_API __declspec(dllimport)
#else
#define CORVANE_API
#endif
#else
#define CORVANE_API __attribute__((visibility("default")))
#endif

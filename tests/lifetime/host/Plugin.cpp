#include <corvane/Corvane.h>

#include "support/BaseURL.h"

/// Configures the library inside the plug-in, and begins an install.
extern "C" CORVANE_API void beginInstall(const char* baseURL, const char* preferencesFile) {
  corvane::test::setBaseURL(baseURL);
  Corvane::setPlatform({.applicationIdentifier = "com.example.plugin", .preferencesFile = preferencesFile});
  Corvane::configure("cv_live_test", {.logEnabled = true, .requestTimeout = 60})
      ->onError([](const std::exception&) {});
}

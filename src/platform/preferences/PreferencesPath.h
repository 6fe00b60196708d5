#pragma once

#include <filesystem>
#include <string_view>

namespace corvane::platform {

/// Where the preferences of an application live unless the host names a file:
/// `$XDG_DATA_HOME/<name>/preferences.sqlite`, or `~/.local/share/<name>/preferences.sqlite` when the
/// variable is unset or not an absolute path. The name is the application identifier, or the executable's
/// name when there is none; `/`, `..` and control characters in it become `_`.
///
/// Empty when there is no home. Reads the environment: not to be called beside `setenv`. Touches no file.
std::filesystem::path defaultPreferencesFile(std::string_view applicationIdentifier);

}  // namespace corvane::platform

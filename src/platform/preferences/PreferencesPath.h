#pragma once

#include <filesystem>
#include <string_view>

namespace corvane::platform {

/// The preferences file of an application, unless the host names one:
/// `$XDG_DATA_HOME/<name>/preferences.sqlite`, or `~/.local/share/<name>/preferences.sqlite` when the
/// variable is unset or not an absolute path. The name is the application identifier, or the executable's
/// name when there is none; `/`, `..` and control characters in it become `_`.
///
/// Empty when there is no home folder. Opens no file. Reads the environment: must not run at the same time as
/// `setenv`.
std::filesystem::path defaultPreferencesFile(std::string_view applicationIdentifier);

}  // namespace corvane::platform

#include "platform/preferences/PreferencesPath.h"

#include <cstdlib>
#include <string>
#include <system_error>

namespace corvane::platform {
namespace {

std::filesystem::path absoluteFromEnvironment(const char* name) {
  const char* text = std::getenv(name);
  std::filesystem::path path = text == nullptr ? "" : text;
  return path.is_absolute() ? path : std::filesystem::path();
}

std::filesystem::path dataHome() {
  if (std::filesystem::path home = absoluteFromEnvironment("XDG_DATA_HOME"); !home.empty()) return home;
  const std::filesystem::path home = absoluteFromEnvironment("HOME");
  return home.empty() ? home : home / ".local" / "share";
}

std::string executableName() {
  std::error_code error;
  std::string name = std::filesystem::read_symlink("/proc/self/exe", error).filename().string();
  // The kernel's mark of a program whose file was replaced while it runs, as an update does.
  constexpr std::string_view deleted = " (deleted)";
  if (name.ends_with(deleted)) name.resize(name.size() - deleted.size());
  return name;
}

std::string folderName(std::string_view text) {
  std::string name(text);
  for (char& character : name) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '/' || byte < 0x20 || byte == 0x7F) character = '_';
  }
  for (auto dots = name.find(".."); dots != std::string::npos; dots = name.find("..")) {
    name.replace(dots, 2, "__");
  }
  return name == "." ? "_" : name;
}

}  // namespace

std::filesystem::path defaultPreferencesFile(std::string_view applicationIdentifier) {
  const std::filesystem::path home = dataHome();
  if (home.empty()) return home;
  std::string name = folderName(applicationIdentifier);
  if (name.empty()) name = folderName(executableName());
  if (name.empty()) name = "corvane";
  return home / name / "preferences.sqlite";
}

}  // namespace corvane::platform

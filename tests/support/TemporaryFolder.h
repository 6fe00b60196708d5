#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace corvane::test {

/// A new folder, readable by every user, which is removed with this object.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "corvane-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot create a folder: " + pattern);
    path_ = std::filesystem::canonical(pattern);
    std::filesystem::permissions(path_, std::filesystem::perms(0755));
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace corvane::test

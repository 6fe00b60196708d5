#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace corvane::test {

/// Captures standard output while this object exists.
class CapturedOutput {
 public:
  CapturedOutput() { ::testing::internal::CaptureStdout(); }
  ~CapturedOutput() {
    if (capturing_) ::testing::internal::GetCapturedStdout();
  }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  /// Ends the capture and returns the lines, without their line breaks.
  std::vector<std::string> lines() {
    const std::string text = ::testing::internal::GetCapturedStdout();
    capturing_ = false;
    std::vector<std::string> result;
    for (std::size_t at = 0; at < text.size();) {
      const auto end = text.find('\n', at);
      result.push_back(text.substr(at, end - at));
      if (end == text.npos) break;
      at = end + 1;
    }
    return result;
  }

 private:
  bool capturing_ = true;
};

}  // namespace corvane::test

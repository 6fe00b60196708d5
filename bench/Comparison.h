#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace corvane::bench {

using Clock = std::chrono::steady_clock;

/// One sample per operation, in nanoseconds.
using Samples = std::vector<double>;

/// Adds the time that `step` takes as one sample.
template <class Step>
void time(Samples& samples, const Step& step) {
  const auto begin = Clock::now();
  step();
  samples.push_back(std::chrono::duration<double, std::nano>(Clock::now() - begin).count());
}

/// Measures one batch of operations and adds its samples.
using Measure = std::function<void(Samples&)>;

/// The median and the 99th percentile.
double median(Samples samples);
double percentile99(Samples samples);

/// The target of a row: its text, and a check of the library's samples and of the ratio.
struct Target {
  std::string words;
  std::function<bool(const Samples& subject, double ratio)> isMet;
};

Target ratioAtMost(double most);
Target rateAtLeast(double least);
/// In nanoseconds. The ratio is printed for information.
Target timeAtMost(double median, double p99);
/// For a row without a target.
Target none();

/// A figure of the library and its floor.
struct Comparison {
  std::string what;
  /// Describes the floor.
  std::string floorWhat;
  Measure subject;
  Measure floor;
  Target target;
  bool isRate = false;
  /// Printed after `what`.
  std::string note{};
  int repetitions = 20;

  Samples subjectSamples{};
  Samples floorSamples{};
};

/// Runs the batches of all comparisons, interleaved in random order by Google Benchmark, and prints the
/// table.
class Comparisons {
 public:
  void add(Comparison comparison) { all_.push_back(std::move(comparison)); }
  /// Adds a row without a floor.
  void say(const std::string& what, const std::string& figure, const std::string& target, bool isMet = true);
  void run();
  void print() const;

 private:
  struct Line {
    std::string what, figure, target;
  };

  std::vector<Comparison> all_;
  std::vector<Line> lines_;
};

}  // namespace corvane::bench

#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace corvane::bench {

using Clock = std::chrono::steady_clock;

/// Nanoseconds of each single operation.
using Samples = std::vector<double>;

/// The time that `step` takes, as one sample.
template <class Step>
void time(Samples& samples, const Step& step) {
  const auto begin = Clock::now();
  step();
  samples.push_back(std::chrono::duration<double, std::nano>(Clock::now() - begin).count());
}

/// Measures one batch of operations into the samples.
using Measure = std::function<void(Samples&)>;

/// The median, and the value that 99 of 100 samples stay below.
double median(Samples samples);
double percentile99(Samples samples);

/// What a row is to reach: its words, and whether it does, from the library's samples and the last column.
struct Target {
  std::string words;
  std::function<bool(const Samples& subject, double ratio)> isMet;
};

Target ratioAtMost(double most);
Target rateAtLeast(double least);
/// In nanoseconds; the ratio is for information.
Target timeAtMost(double median, double p99);
/// A row for comparison only.
Target none();

/// A figure of the library beside its floor.
struct Comparison {
  std::string what;
  /// What the floor is.
  std::string floorWhat;
  Measure subject;
  Measure floor;
  Target target;
  bool isRate = false;
  /// Said beside the row.
  std::string note{};
  int repetitions = 20;

  Samples subjectSamples{};
  Samples floorSamples{};
};

/// Runs the batches of all comparisons interleaved in random order (Google Benchmark does that), and prints
/// the table.
class Comparisons {
 public:
  void add(Comparison comparison) { all_.push_back(std::move(comparison)); }
  /// A row that is no comparison.
  void say(const std::string& what, const std::string& figure, const std::string& target);
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

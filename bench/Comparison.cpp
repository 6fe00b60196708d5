#include "Comparison.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>

namespace corvane::bench {
namespace {

double quantile(Samples samples, double share) {
  if (samples.empty()) return 0;
  const auto place = static_cast<std::size_t>(share * static_cast<double>(samples.size() - 1));
  std::nth_element(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(place), samples.end());
  return samples[place];
}

/// Discards the benchmark library's report of its batches; the table is made of the samples.
class Silence : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>&) override {}
};

void registerBatches(const std::string& name, int repetitions, const Measure& measure, Samples& samples) {
  auto* batch = benchmark::RegisterBenchmark(name.c_str(), [&measure, &samples](benchmark::State& state) {
    for ([[maybe_unused]] const auto iteration : state) measure(samples);
  });
  batch->Iterations(1)->Repetitions(repetitions)->UseRealTime();
}

std::string duration(double nanoseconds) {
  char text[32];
  if (nanoseconds < 1e3) {
    std::snprintf(text, sizeof text, "%.1f ns", nanoseconds);
  } else if (nanoseconds < 1e6) {
    std::snprintf(text, sizeof text, "%.2f us", nanoseconds / 1e3);
  } else {
    std::snprintf(text, sizeof text, "%.2f ms", nanoseconds / 1e6);
  }
  return text;
}

std::string number(double value) {
  char text[16];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

std::string figure(const Samples& samples, bool isRate) {
  char text[64];
  if (isRate) {
    std::snprintf(text, sizeof text, "%.0f /s", 1e9 / median(samples));
    return text;
  }
  return duration(median(samples)) + " (p99 " + duration(percentile99(samples)) + ")";
}

}  // namespace

double median(Samples samples) {
  return quantile(std::move(samples), 0.5);
}

double percentile99(Samples samples) {
  return quantile(std::move(samples), 0.99);
}

Target ratioAtMost(double most) {
  return {number(most) + "x", [most](const Samples&, double ratio) { return ratio <= most; }};
}

Target rateAtLeast(double least) {
  return {number(least) + " of its rate", [least](const Samples&, double ratio) { return ratio >= least; }};
}

Target timeAtMost(double mostMedian, double mostP99) {
  return {duration(mostMedian) + ", p99 " + duration(mostP99), [=](const Samples& subject, double) {
            return median(subject) <= mostMedian && percentile99(subject) <= mostP99;
          }};
}

Target none() {
  return {"", [](const Samples&, double) { return true; }};
}

void Comparisons::say(const std::string& what, const std::string& figure, const std::string& target,
                      bool isMet) {
  lines_.push_back({what, figure + (isMet ? "" : " (missed)"), target});
}

void Comparisons::run() {
  for (Comparison& each : all_) {
    registerBatches(each.what, each.repetitions, each.subject, each.subjectSamples);
    registerBatches(each.what + " floor", each.repetitions, each.floor, each.floorSamples);
  }
  char name[] = "bench";
  char interleaved[] = "--benchmark_enable_random_interleaving=true";
  char* arguments[] = {name, interleaved, nullptr};
  int count = 2;
  benchmark::Initialize(&count, arguments);
  Silence silence;
  benchmark::RunSpecifiedBenchmarks(&silence);
}

void Comparisons::print() const {
  std::printf("| what | Corvane: median | floor: median | the floor is | target | ratio |\n");
  std::printf("| --- | --- | --- | --- | --- | --- |\n");
  for (const Comparison& each : all_) {
    const double subject = median(each.subjectSamples), floor = median(each.floorSamples);
    const double ratio = each.isRate ? floor / subject : subject / floor;
    std::printf("| %s%s | %s | %s | %s | %s | %.2f%s |\n", each.what.c_str(), each.note.c_str(),
                figure(each.subjectSamples, each.isRate).c_str(),
                figure(each.floorSamples, each.isRate).c_str(), each.floorWhat.c_str(),
                each.target.words.c_str(), ratio,
                each.target.isMet(each.subjectSamples, ratio) ? "" : " (missed)");
  }
  std::printf("\n| what | figure | target |\n| --- | --- | --- |\n");
  for (const Line& line : lines_)
    std::printf("| %s | %s | %s |\n", line.what.c_str(), line.figure.c_str(), line.target.c_str());
}

}  // namespace corvane::bench

#pragma once

namespace corvane::bench {

/// Figures of this process from /proc, in kilobytes.
long residentKilobytes();
/// The largest value of `residentKilobytes` since `forgetPeak`.
long peakKilobytes();
void forgetPeak();

enum class Switches { voluntary, all };
/// The context switches of every thread but the calling one.
long switchesOfOthers(Switches which);

}  // namespace corvane::bench

#pragma once

namespace corvane {

/// Whether the calling thread is the background thread. Host code runs there in a pasteboard or an executor,
/// and must not wait there for a task, which only that thread can complete.
bool isBackgroundThread();

/// Marks the calling thread as the background thread until its end.
void markBackgroundThread();

}  // namespace corvane

#pragma once

namespace corvane {

/// Whether the calling thread is the background thread. Host code can meet it there, in a pasteboard or an
/// executor, and must not wait there for what only that thread can complete.
bool isBackgroundThread();

/// Says that the calling thread is the background thread, to its end.
void becomeBackgroundThread();

}  // namespace corvane

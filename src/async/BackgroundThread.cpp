#include "async/BackgroundThread.h"

namespace corvane {
namespace {
thread_local bool isBackground = false;
}

bool isBackgroundThread() {
  return isBackground;
}

void markBackgroundThread() {
  isBackground = true;
}

}  // namespace corvane

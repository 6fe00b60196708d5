#include "async/BackgroundThread.h"

namespace corvane {
namespace {
thread_local bool isBackground = false;
}

bool isBackgroundThread() {
  return isBackground;
}

void becomeBackgroundThread() {
  isBackground = true;
}

}  // namespace corvane

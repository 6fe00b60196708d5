#include "Narrator.h"

#include <cstdio>

void Narrator::say(const QString& text) const {
  if (!isEnabled_) return;
  std::printf("shop: %s\n", qUtf8Printable(text));
  std::fflush(stdout);
}

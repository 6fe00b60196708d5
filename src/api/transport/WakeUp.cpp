#include "api/transport/WakeUp.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace corvane::platform {

WakeUp::WakeUp() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) return;
  reader_ = ends[0];
  writer_ = ends[1];
}

WakeUp::~WakeUp() {
  if (!isUsable()) return;
  ::close(reader_);
  ::close(writer_);
}

void WakeUp::wake() const {
  constexpr char any = 0;
  // A full pipe is readable, so it needs no further byte.
  while (::write(writer_, &any, 1) < 0 && errno == EINTR) continue;
}

void WakeUp::take() const {
  std::array<char, 64> taken;
  ssize_t size;
  do {
    size = ::read(reader_, taken.data(), taken.size());
  } while (size == static_cast<ssize_t>(taken.size()) || (size < 0 && errno == EINTR));
}

}  // namespace corvane::platform

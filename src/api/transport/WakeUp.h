#pragma once

namespace corvane::platform {

/// Wakes a thread that sleeps in `poll`. A wake-up is kept until it is taken.
class WakeUp {
 public:
  WakeUp();
  ~WakeUp();
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;

  /// False when the process has no descriptors left. Then no other function may be called.
  bool isUsable() const { return reader_ >= 0; }

  /// Any thread. Does not block.
  void wake() const;

  /// Readable while there is a wake-up to take. Owned by this object.
  int descriptor() const { return reader_; }

  /// Takes all wake-ups. Does not block.
  void take() const;

 private:
  int reader_ = -1;
  int writer_ = -1;
};

}  // namespace corvane::platform

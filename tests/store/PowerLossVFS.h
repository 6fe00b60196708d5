#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace corvane::test {

/// A disk between SQLite and the file system that can lose power and fail.
///
/// What was not synced may be lost: for each file the disk knows the content of its last sync, and a power
/// cut leaves, sector by sector, either that or the newer content; a file that was never synced may vanish,
/// one that was deleted without a sync of its folder may come back. A sector of 512 bytes is written whole or
/// not at all.
///
/// SQLite uses it by default between `install` and `uninstall`. It does nothing of its own accord. One
/// thread.
namespace PowerLossVFS {

void install();
void uninstall();

/// Forgets all files and ends every failure.
void reset();

/// Operations (open, write, sync, truncate, delete, a page of shared memory) since `reset`.
int operations();

/// From the given operation on (the first is 0), `count` operations fail with the SQLite code.
void fail(int operation, int code, int count = 1);

/// From the given operation on nothing reaches the disk and everything fails, as in a machine without power.
void cutPowerAt(int operation);

bool powerIsCut();

/// Leaves the files as a power cut at that moment may, and switches the power on. No connection may be open.
/// The function draws: it returns a number below its argument.
void losePower(const std::function<std::uint64_t(std::uint64_t)>& draw);

}  // namespace PowerLossVFS
}  // namespace corvane::test

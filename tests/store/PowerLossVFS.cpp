#include "store/PowerLossVFS.h"

#include <sqlite3.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "store/StoreSupport.h"

namespace corvane::test::PowerLossVFS {
namespace {

constexpr std::size_t sectorSize = 512;

/// What the disk surely holds, by path; none for a file whose existence was never synced.
using Disk = std::map<std::string, std::optional<std::string>>;

std::mutex mutex;  // guards all of the following
Disk disk;
int operationCount = 0;
int failFrom = INT_MAX, failCount = 0, failCode = SQLITE_OK;
int powerEnds = INT_MAX;

sqlite3_vfs* real = nullptr;

/// The real file stands behind this one in the same block of memory.
struct File {
  sqlite3_file base;
  bool folderNeedsSync;
  char path[PATH_MAX];
  sqlite3_file* below() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

File* fileOf(sqlite3_file* file) {
  return reinterpret_cast<File*>(file);
}

/// Counts one operation; the code with which it fails, or SQLITE_OK.
int nextOperation() {
  const std::lock_guard lock(mutex);
  const int number = operationCount++;
  if (number >= powerEnds) return SQLITE_IOERR;
  if (number >= failFrom && number - failFrom < failCount) return failCode;
  return SQLITE_OK;
}

bool isTracked(const char* path, int flags) {
  constexpr int kinds = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL | SQLITE_OPEN_MAIN_JOURNAL;
  return path != nullptr && (flags & kinds) != 0;
}

/// Through SQLite's own descriptor: closing another one would drop its locks.
std::string contentThrough(sqlite3_file* file) {
  sqlite3_int64 size = 0;
  file->pMethods->xFileSize(file, &size);
  std::string content(static_cast<std::size_t>(size), '\0');
  file->pMethods->xRead(file, content.data(), static_cast<int>(size), 0);
  return content;
}

/// Hands a method to the real file; `counted` ones are operations of the disk, and may fail.
template <auto method, bool counted, typename Result, typename... Arguments>
Result forward(sqlite3_file* file, Arguments... arguments) {
  if constexpr (counted) {
    if (const int code = nextOperation(); code != SQLITE_OK) return code;
  }
  sqlite3_file* below = fileOf(file)->below();
  return (below->pMethods->*method)(below, arguments...);
}

int readFile(sqlite3_file* file, void* target, int size, sqlite3_int64 offset) {
  if (powerIsCut()) return SQLITE_IOERR_READ;
  sqlite3_file* below = fileOf(file)->below();
  return below->pMethods->xRead(below, target, size, offset);
}

int syncFile(sqlite3_file* file, int) {
  if (const int code = nextOperation(); code != SQLITE_OK) return code;
  // The real sync is left out: no test pulls the real plug.
  const std::lock_guard lock(mutex);
  File* self = fileOf(file);
  disk[self->path] = contentThrough(self->below());
  // As SQLite's own layer for this system does it: the first sync of a log or journal syncs the folder too.
  if (std::exchange(self->folderNeedsSync, false)) {
    std::erase_if(disk, [](const auto& entry) { return !std::filesystem::exists(entry.first); });
  }
  return SQLITE_OK;
}

const sqlite3_io_methods methods = [] {
  using M = sqlite3_io_methods;
  M all{};
  all.iVersion = 2;
  all.xClose = forward<&M::xClose, false>;
  all.xRead = readFile;
  all.xWrite = forward<&M::xWrite, true>;
  all.xTruncate = forward<&M::xTruncate, true>;
  all.xSync = syncFile;
  all.xFileSize = forward<&M::xFileSize, false>;
  all.xLock = forward<&M::xLock, false>;
  all.xUnlock = forward<&M::xUnlock, false>;
  all.xCheckReservedLock = forward<&M::xCheckReservedLock, false>;
  all.xFileControl = forward<&M::xFileControl, false>;
  all.xSectorSize = [](sqlite3_file*) { return static_cast<int>(sectorSize); };
  all.xDeviceCharacteristics = [](sqlite3_file*) { return SQLITE_IOCAP_POWERSAFE_OVERWRITE; };
  all.xShmMap = forward<&M::xShmMap, true>;
  all.xShmLock = forward<&M::xShmLock, false>;
  all.xShmBarrier = forward<&M::xShmBarrier, false>;
  all.xShmUnmap = forward<&M::xShmUnmap, false>;
  return all;
}();

int openFile(sqlite3_vfs*, const char* path, sqlite3_file* file, int flags, int* outFlags) {
  File* self = fileOf(file);
  self->base.pMethods = nullptr;
  const bool tracked = isTracked(path, flags);
  const bool existed = tracked && std::filesystem::exists(path);
  // A full disk still opens what exists.
  if (const int code = nextOperation(); code != SQLITE_OK && !(code == SQLITE_FULL && existed)) {
    return SQLITE_CANTOPEN;
  }
  const int code = real->xOpen(real, path, self->below(), flags, outFlags);
  if (code != SQLITE_OK) return code;
  self->base.pMethods = &methods;
  self->path[0] = '\0';
  self->folderNeedsSync = tracked && !existed;
  if (!tracked) return SQLITE_OK;
  std::copy_n(path, std::min<std::size_t>(std::string_view(path).size() + 1, PATH_MAX), self->path);
  const std::lock_guard lock(mutex);
  if (!disk.contains(path))
    disk[path] = existed ? std::optional(contentThrough(self->below())) : std::nullopt;
  return SQLITE_OK;
}

int deleteFile(sqlite3_vfs*, const char* path, int syncFolder) {
  if (const int code = nextOperation(); code != SQLITE_OK) return SQLITE_IOERR_DELETE;
  const int code = real->xDelete(real, path, 0);
  const std::lock_guard lock(mutex);
  if (syncFolder != 0) disk.erase(path);
  return code;
}

std::string afterPowerLoss(const std::string& synced, const std::string& newest,
                           const std::function<std::uint64_t(std::uint64_t)>& draw) {
  std::string content = draw(2) == 0 ? synced : newest;
  for (std::size_t begin = 0; begin < content.size(); begin += sectorSize) {
    const std::string& from = draw(2) == 0 ? synced : newest;
    if (begin < from.size())
      content.replace(begin, std::min(sectorSize, content.size() - begin),
                      from.substr(begin, std::min(sectorSize, content.size() - begin)));
  }
  return content;
}

}  // namespace

void install() {
  static sqlite3_vfs own = [] {
    real = sqlite3_vfs_find(nullptr);
    sqlite3_vfs vfs = *real;
    vfs.zName = "power-loss";
    vfs.szOsFile = static_cast<int>(sizeof(File)) + real->szOsFile;
    vfs.pNext = nullptr;
    vfs.xOpen = openFile;
    vfs.xDelete = deleteFile;
    return vfs;
  }();
  sqlite3_vfs_register(&own, 1);
}

void reset() {
  const std::lock_guard lock(mutex);
  disk.clear();
  operationCount = 0;
  failFrom = powerEnds = INT_MAX;
}

int operations() {
  const std::lock_guard lock(mutex);
  return operationCount;
}

void fail(int operation, int code, int count) {
  const std::lock_guard lock(mutex);
  failFrom = operation;
  failCode = code;
  failCount = count;
}

void cutPowerAt(int operation) {
  const std::lock_guard lock(mutex);
  powerEnds = operation;
}

bool powerIsCut() {
  const std::lock_guard lock(mutex);
  return operationCount > powerEnds;
}

void losePower(const std::function<std::uint64_t(std::uint64_t)>& draw) {
  {
    const std::lock_guard lock(mutex);
    for (const auto& [path, synced] : disk) {
      const bool isThere = std::filesystem::exists(path);
      if (!synced) {
        if (isThere && draw(2) == 0) std::filesystem::remove(path);
        continue;
      }
      if (!isThere && draw(2) == 0) continue;
      const std::string content = afterPowerLoss(*synced, isThere ? contentOf(path) : *synced, draw);
      // Some file systems wait for the disk when an old file is written anew.
      std::filesystem::remove(path);
      writeContent(path, content);
    }
    for (const auto& [path, synced] : disk) std::filesystem::remove(path + "-shm");
  }
  reset();
}

}  // namespace corvane::test::PowerLossVFS

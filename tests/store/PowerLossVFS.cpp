#include "store/PowerLossVFS.h"

#include <sqlite3.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <map>
#include <optional>
#include <utility>

#include "store/StoreSupport.h"

namespace corvane::test::PowerLossVFS {
namespace {

constexpr std::size_t sectorSize = 512;

/// What the disk surely holds, by path; none for a file whose existence was never synced.
using Disk = std::map<std::string, std::optional<std::string>>;

Disk disk;
int operationCount = 0;
int failFrom = INT_MAX, failCount = 0, failCode = SQLITE_OK;
int powerEnds = INT_MAX;

sqlite3_vfs* real = nullptr;

/// Stands behind the real file in the same block of memory.
struct Addition {
  const sqlite3_io_methods* realMethods;
  sqlite3_io_methods methods;
  bool folderNeedsSync;
  const char* path;  // none for a temporary file
};

Addition& additionTo(sqlite3_file* file) {
  return *reinterpret_cast<Addition*>(reinterpret_cast<char*>(file) + real->szOsFile);
}

/// Counts one operation; the code with which it fails, or SQLITE_OK.
int nextOperation() {
  const int number = operationCount++;
  if (number >= powerEnds) return SQLITE_IOERR;
  if (number >= failFrom && number - failFrom < failCount) return failCode;
  return SQLITE_OK;
}

/// Through SQLite's own descriptor: closing another one would drop its locks.
std::string contentThrough(sqlite3_file* file) {
  const sqlite3_io_methods* const methods = additionTo(file).realMethods;
  sqlite3_int64 size = 0;
  methods->xFileSize(file, &size);
  std::string content(static_cast<std::size_t>(size), '\0');
  methods->xRead(file, content.data(), static_cast<int>(size), 0);
  return content;
}

/// The method of the real file, as an operation of the disk that may fail.
template <auto method, typename... Arguments>
int operate(sqlite3_file* file, Arguments... arguments) {
  if (const int code = nextOperation(); code != SQLITE_OK) return code;
  return (additionTo(file).realMethods->*method)(file, arguments...);
}

int readFile(sqlite3_file* file, void* target, int size, sqlite3_int64 offset) {
  if (powerIsCut()) return SQLITE_IOERR_READ;
  return additionTo(file).realMethods->xRead(file, target, size, offset);
}

int syncFile(sqlite3_file* file, int) {
  if (const int code = nextOperation(); code != SQLITE_OK) return code;
  // The real sync is left out: no test pulls the real plug.
  Addition& addition = additionTo(file);
  if (addition.path != nullptr) disk[addition.path] = contentThrough(file);
  // As SQLite's own layer for this system does it: the first sync of a log or journal syncs the folder too.
  if (std::exchange(addition.folderNeedsSync, false)) {
    std::erase_if(disk, [](const auto& entry) { return !std::filesystem::exists(entry.first); });
  }
  return SQLITE_OK;
}

void replaceMethods(sqlite3_file* file) {
  using M = sqlite3_io_methods;
  Addition& addition = additionTo(file);
  addition.realMethods = file->pMethods;
  addition.methods = *file->pMethods;
  addition.methods.iVersion = 2;  // does not map the file
  addition.methods.xRead = readFile;
  addition.methods.xWrite = operate<&M::xWrite>;
  addition.methods.xTruncate = operate<&M::xTruncate>;
  addition.methods.xSync = syncFile;
  addition.methods.xSectorSize = [](sqlite3_file*) { return static_cast<int>(sectorSize); };
  addition.methods.xShmMap = operate<&M::xShmMap>;
  file->pMethods = &addition.methods;
}

int openFile(sqlite3_vfs*, const char* path, sqlite3_file* file, int flags, int* outFlags) {
  file->pMethods = nullptr;
  const bool existed = path != nullptr && std::filesystem::exists(path);
  // A full disk still opens what exists.
  if (const int code = nextOperation(); code != SQLITE_OK && !(code == SQLITE_FULL && existed)) {
    return SQLITE_CANTOPEN;
  }
  const int code = real->xOpen(real, path, file, flags, outFlags);
  if (code != SQLITE_OK) return code;
  replaceMethods(file);
  Addition& addition = additionTo(file);
  addition.path = path;
  addition.folderNeedsSync = !existed;
  if (path != nullptr && !disk.contains(path))
    disk[path] = existed ? std::optional(contentThrough(file)) : std::nullopt;
  return SQLITE_OK;
}

int deleteFile(sqlite3_vfs*, const char* path, int syncFolder) {
  if (const int code = nextOperation(); code != SQLITE_OK) return SQLITE_IOERR_DELETE;
  const int code = real->xDelete(real, path, 0);
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
    vfs.szOsFile = real->szOsFile + static_cast<int>(sizeof(Addition));
    vfs.pNext = nullptr;
    vfs.xOpen = openFile;
    vfs.xDelete = deleteFile;
    return vfs;
  }();
  sqlite3_vfs_register(&own, 1);
  reset();
}

void uninstall() {
  sqlite3_vfs_register(real, 1);
}

void reset() {
  disk.clear();
  operationCount = 0;
  failFrom = powerEnds = INT_MAX;
}

int operations() {
  return operationCount;
}

void fail(int operation, int code, int count) {
  failFrom = operation;
  failCode = code;
  failCount = count;
}

void cutPowerAt(int operation) {
  powerEnds = operation;
}

bool powerIsCut() {
  return operationCount > powerEnds;
}

void losePower(const std::function<std::uint64_t(std::uint64_t)>& draw) {
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
  reset();
}

}  // namespace corvane::test::PowerLossVFS

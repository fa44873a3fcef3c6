#include "sim/sqlite_disk.h"

#include <sqlite3.h>

#include <atomic>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>

namespace tavi::sim {

namespace {

std::mutex mutex;
bool tracking = false;
std::map<std::filesystem::path, std::string> synchronised;
std::atomic<bool> full{false};

sqlite3_vfs* systemVfs = nullptr;

// What SQLite allocates per open file: this, and the system's own behind it.
struct DiskFile {
    sqlite3_file base;
    sqlite3_file* real;
    const char* name;  // SQLite's own, which outlives the file; null for one without a name
};

DiskFile& Of(sqlite3_file* file) {
    return *reinterpret_cast<DiskFile*>(file);
}

bool IsTracked(const DiskFile& file) {
    return file.name != nullptr && tracking;
}

std::string Contents(sqlite3_file* real) {
    sqlite3_int64 size = 0;
    real->pMethods->xFileSize(real, &size);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (size > 0) {
        real->pMethods->xRead(real, bytes.data(), static_cast<int>(size), 0);
    }
    return bytes;
}

int Close(sqlite3_file* file) {
    sqlite3_file* real = Of(file).real;
    return real->pMethods != nullptr ? real->pMethods->xClose(real) : SQLITE_OK;
}

int Read(sqlite3_file* file, void* buffer, int bytes, sqlite3_int64 offset) {
    return Of(file).real->pMethods->xRead(Of(file).real, buffer, bytes, offset);
}

int Write(sqlite3_file* file, const void* buffer, int bytes, sqlite3_int64 offset) {
    if (full) {
        return SQLITE_FULL;
    }
    return Of(file).real->pMethods->xWrite(Of(file).real, buffer, bytes, offset);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
    return Of(file).real->pMethods->xTruncate(Of(file).real, size);
}

int Sync(sqlite3_file* file, int flags) {
    const int result = Of(file).real->pMethods->xSync(Of(file).real, flags);
    const std::lock_guard lock(mutex);
    if (result == SQLITE_OK && IsTracked(Of(file))) {
        synchronised[Of(file).name] = Contents(Of(file).real);
    }
    return result;
}

int FileSize(sqlite3_file* file, sqlite3_int64* size) {
    return Of(file).real->pMethods->xFileSize(Of(file).real, size);
}

int Lock(sqlite3_file* file, int level) {
    return Of(file).real->pMethods->xLock(Of(file).real, level);
}

int Unlock(sqlite3_file* file, int level) {
    return Of(file).real->pMethods->xUnlock(Of(file).real, level);
}

int CheckReservedLock(sqlite3_file* file, int* result) {
    return Of(file).real->pMethods->xCheckReservedLock(Of(file).real, result);
}

int FileControl(sqlite3_file* file, int operation, void* argument) {
    return Of(file).real->pMethods->xFileControl(Of(file).real, operation, argument);
}

int SectorSize(sqlite3_file* file) {
    return Of(file).real->pMethods->xSectorSize(Of(file).real);
}

int DeviceCharacteristics(sqlite3_file* file) {
    return Of(file).real->pMethods->xDeviceCharacteristics(Of(file).real);
}

int ShmMap(sqlite3_file* file, int page, int pageSize, int extend, void volatile** memory) {
    return Of(file).real->pMethods->xShmMap(Of(file).real, page, pageSize, extend, memory);
}

int ShmLock(sqlite3_file* file, int offset, int count, int flags) {
    return Of(file).real->pMethods->xShmLock(Of(file).real, offset, count, flags);
}

void ShmBarrier(sqlite3_file* file) {
    Of(file).real->pMethods->xShmBarrier(Of(file).real);
}

int ShmUnmap(sqlite3_file* file, int deleteFlag) {
    return Of(file).real->pMethods->xShmUnmap(Of(file).real, deleteFlag);
}

// Version 2: without mapping the file into memory, which would go past Write.
const sqlite3_io_methods kMethods = {
    2,
    Close,
    Read,
    Write,
    Truncate,
    Sync,
    FileSize,
    Lock,
    Unlock,
    CheckReservedLock,
    FileControl,
    SectorSize,
    DeviceCharacteristics,
    ShmMap,
    ShmLock,
    ShmBarrier,
    ShmUnmap,
    nullptr,
    nullptr,
};

int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    auto* opened = new (file) DiskFile;
    opened->real = reinterpret_cast<sqlite3_file*>(opened + 1);
    opened->name = (flags & (SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL | SQLITE_OPEN_MAIN_JOURNAL)) != 0 ? name : nullptr;
    opened->base.pMethods = nullptr;
    const int result = systemVfs->xOpen(systemVfs, name, opened->real, flags, outFlags);
    if (opened->real->pMethods != nullptr) {
        opened->base.pMethods = &kMethods;
    }
    const std::lock_guard lock(mutex);
    if (result == SQLITE_OK && IsTracked(*opened)) {
        synchronised.try_emplace(name);  // never synchronised: nothing of it is safe
    }
    return result;
}

int Delete(sqlite3_vfs*, const char* name, int syncDirectory) {
    {
        const std::lock_guard lock(mutex);
        synchronised.erase(name);
    }
    return systemVfs->xDelete(systemVfs, name, syncDirectory);
}

}  // namespace

void SqliteDisk::Install() {
    static const bool installed = [] {
        systemVfs = sqlite3_vfs_find(nullptr);
        static sqlite3_vfs vfs = *systemVfs;
        vfs.szOsFile = static_cast<int>(sizeof(DiskFile)) + systemVfs->szOsFile;
        vfs.zName = "tavi-disk";
        vfs.pNext = nullptr;
        vfs.xOpen = Open;
        vfs.xDelete = Delete;
        return sqlite3_vfs_register(&vfs, 1) == SQLITE_OK;
    }();
    static_cast<void>(installed);
}

void SqliteDisk::TrackSynchronised(bool track) {
    const std::lock_guard lock(mutex);
    tracking = track;
    synchronised.clear();
}

std::map<std::filesystem::path, std::string> SqliteDisk::Synchronised() {
    const std::lock_guard lock(mutex);
    return synchronised;
}

void SqliteDisk::Reset(const std::map<std::filesystem::path, std::string>& files) {
    const std::lock_guard lock(mutex);
    if (tracking) {
        synchronised = files;
    }
}

void SqliteDisk::SetFull(bool isFull) {
    full = isFull;
}

}  // namespace tavi::sim

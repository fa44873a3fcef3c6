#include "sim/sqlite_disk.h"

#include <sqlite3.h>

#include <atomic>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <string>

namespace tavi::sim {

namespace {

std::mutex mutex;
bool tracking = false;
std::map<std::filesystem::path, std::string> synchronised;
std::atomic<bool> full{false};

sqlite3_vfs* systemVfs = nullptr;

// How often each file is open, and which kinds of change it has seen since it was not.
enum Change : unsigned { kCreated = 1, kExtended = 2, kOverwritten = 4, kTruncated = 8, kDeleted = 16 };
struct OpenFile {
    int count = 0;
    unsigned changes = 0;
};
std::map<std::string, OpenFile> openFiles;
DiskActivity activity;

// All of these with the lock held.
void NoteChange(const std::string& name, Change change) {
    OpenFile& file = openFiles[name];
    if ((file.changes & change) == 0) {
        file.changes |= change;
        ++activity.journalRecords;
    }
}

void NoteOpen(const std::string& name, bool existed) {
    ++openFiles[name].count;
    if (!existed) {
        ++activity.creations;
        NoteChange(name, kCreated);
    }
}

void NoteClose(const std::string& name) {
    OpenFile& file = openFiles[name];
    if (--file.count <= 0) {
        activity.journalRecords += file.changes != 0 ? 1U : 0U;
        openFiles.erase(name);
    }
}

void NoteDeletion(const std::string& name) {
    ++activity.deletions;
    NoteChange(name, kDeleted);
    if (openFiles[name].count == 0) {
        NoteClose(name);
    }
}

std::string IndexName(const char* database) {
    return std::string(database) + "-shm";
}

// What SQLite allocates per open file: this, and the system's own behind it.
struct DiskFile {
    sqlite3_file base;
    sqlite3_file* real;
    const char* name;     // SQLite's own, which outlives the file; null for one that a loss of power does not touch
    const char* anyName;  // the same for every file that has one
    bool hasIndex;        // of the log
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
    if (Of(file).anyName != nullptr) {
        const std::lock_guard lock(mutex);
        NoteClose(Of(file).anyName);
    }
    return real->pMethods != nullptr ? real->pMethods->xClose(real) : SQLITE_OK;
}

int Read(sqlite3_file* file, void* buffer, int bytes, sqlite3_int64 offset) {
    return Of(file).real->pMethods->xRead(Of(file).real, buffer, bytes, offset);
}

int Write(sqlite3_file* file, const void* buffer, int bytes, sqlite3_int64 offset) {
    if (full) {
        return SQLITE_FULL;
    }
    if (Of(file).anyName != nullptr) {
        sqlite3_int64 size = 0;
        Of(file).real->pMethods->xFileSize(Of(file).real, &size);
        const std::lock_guard lock(mutex);
        ++activity.writes;
        NoteChange(Of(file).anyName, offset + bytes > size ? kExtended : kOverwritten);
    }
    return Of(file).real->pMethods->xWrite(Of(file).real, buffer, bytes, offset);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
    if (Of(file).anyName != nullptr) {
        const std::lock_guard lock(mutex);
        ++activity.writes;
        NoteChange(Of(file).anyName, kTruncated);
    }
    return Of(file).real->pMethods->xTruncate(Of(file).real, size);
}

int Sync(sqlite3_file* file, int flags) {
    const int result = Of(file).real->pMethods->xSync(Of(file).real, flags);
    const std::lock_guard lock(mutex);
    ++activity.syncs;
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

// The first to open the index of the log empties it and makes it as long as it has to be.
int ShmMap(sqlite3_file* file, int page, int pageSize, int extend, void volatile** memory) {
    if (!Of(file).hasIndex && Of(file).anyName != nullptr) {
        Of(file).hasIndex = true;
        const std::string name = IndexName(Of(file).anyName);
        const bool existed = std::filesystem::exists(name);
        const std::lock_guard lock(mutex);
        const bool isFirst = openFiles[name].count == 0;
        NoteOpen(name, existed);
        if (isFirst) {
            ++activity.writes;
            NoteChange(name, kExtended);
            if (existed) {
                NoteChange(name, kTruncated);
            }
        }
    }
    return Of(file).real->pMethods->xShmMap(Of(file).real, page, pageSize, extend, memory);
}

int ShmLock(sqlite3_file* file, int offset, int count, int flags) {
    return Of(file).real->pMethods->xShmLock(Of(file).real, offset, count, flags);
}

void ShmBarrier(sqlite3_file* file) {
    Of(file).real->pMethods->xShmBarrier(Of(file).real);
}

int ShmUnmap(sqlite3_file* file, int deleteFlag) {
    if (Of(file).hasIndex) {
        Of(file).hasIndex = false;
        const std::string name = IndexName(Of(file).anyName);
        const std::lock_guard lock(mutex);
        if (deleteFlag != 0) {
            NoteDeletion(name);
        }
        NoteClose(name);
    }
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
    opened->anyName = name;
    opened->hasIndex = false;
    opened->base.pMethods = nullptr;
    const bool existed = name == nullptr || std::filesystem::exists(name);
    const int result = systemVfs->xOpen(systemVfs, name, opened->real, flags, outFlags);
    if (opened->real->pMethods != nullptr) {
        opened->base.pMethods = &kMethods;
    }
    const std::lock_guard lock(mutex);
    if (result == SQLITE_OK && name != nullptr) {
        NoteOpen(name, existed);
    }
    if (result == SQLITE_OK && IsTracked(*opened)) {
        synchronised.try_emplace(name);  // never synchronised: nothing of it is safe
    }
    return result;
}

int Delete(sqlite3_vfs*, const char* name, int syncDirectory) {
    {
        const bool existed = std::filesystem::exists(name);
        const std::lock_guard lock(mutex);
        synchronised.erase(name);
        if (existed) {
            NoteDeletion(name);
        }
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

void SqliteDisk::BeginCounting() {
    const std::lock_guard lock(mutex);
    activity = {};
}

DiskActivity SqliteDisk::Counted() {
    const std::lock_guard lock(mutex);
    return activity;
}

void SqliteDisk::SetFull(bool isFull) {
    full = isFull;
}

}  // namespace tavi::sim

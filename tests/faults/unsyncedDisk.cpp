#include "faults/unsyncedDisk.h"

#include <fstream>
#include <sqlite3.h>
#include <stdexcept>

namespace {

UnsyncedDisk* g_disk = nullptr;
sqlite3_vfs* g_system = nullptr;

// What SQLite holds of an open file: ours, and behind it the system's.
struct File {
    sqlite3_file base;
    const char* path;  // SQLite keeps it as long as the file is open; null for a temporary file

    [[nodiscard]] sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

File* ours(sqlite3_file* file)
{
    return reinterpret_cast<File*>(file);
}

sqlite3_file* real(sqlite3_file* file)
{
    return ours(file)->real();
}

std::string nameOf(const char* path)
{
    const std::string text = path != nullptr ? path : "";
    return text.substr(text.rfind('/') + 1);
}

int perform(sqlite3_file* file, UnsyncedDisk::Operation operation, const std::function<int()>& work)
{
    if (ours(file)->path == nullptr) {
        return work();
    }
    operation.name = nameOf(ours(file)->path);
    return g_disk->perform(std::move(operation), work);
}

int closeFile(sqlite3_file* file)
{
    return real(file)->pMethods->xClose(real(file));
}

int readFile(sqlite3_file* file, void* bytes, int count, sqlite3_int64 offset)
{
    return real(file)->pMethods->xRead(real(file), bytes, count, offset);
}

int writeFile(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset)
{
    std::string copy(static_cast<const char*>(bytes), static_cast<std::size_t>(count));
    return perform(file, {.kind = UnsyncedDisk::Kind::write, .offset = offset, .bytes = std::move(copy)},
                   [&] { return real(file)->pMethods->xWrite(real(file), bytes, count, offset); });
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size)
{
    return perform(file, {.kind = UnsyncedDisk::Kind::truncate, .offset = size},
                   [&] { return real(file)->pMethods->xTruncate(real(file), size); });
}

int syncFile(sqlite3_file* file, int flags)
{
    return perform(file, {.kind = UnsyncedDisk::Kind::sync},
                   [&] { return real(file)->pMethods->xSync(real(file), flags); });
}

int sizeOfFile(sqlite3_file* file, sqlite3_int64* size)
{
    return real(file)->pMethods->xFileSize(real(file), size);
}

int lockFile(sqlite3_file* file, int level)
{
    return real(file)->pMethods->xLock(real(file), level);
}

int unlockFile(sqlite3_file* file, int level)
{
    return real(file)->pMethods->xUnlock(real(file), level);
}

int checkLock(sqlite3_file* file, int* held)
{
    return real(file)->pMethods->xCheckReservedLock(real(file), held);
}

int controlFile(sqlite3_file* file, int operation, void* argument)
{
    return real(file)->pMethods->xFileControl(real(file), operation, argument);
}

int sectorSize(sqlite3_file* file)
{
    return real(file)->pMethods->xSectorSize(real(file));
}

int characteristics(sqlite3_file* file)
{
    return real(file)->pMethods->xDeviceCharacteristics(real(file));
}

int mapIndex(sqlite3_file* file, int region, int size, int extend, void volatile** memory)
{
    return real(file)->pMethods->xShmMap(real(file), region, size, extend, memory);
}

int lockIndex(sqlite3_file* file, int offset, int count, int flags)
{
    return real(file)->pMethods->xShmLock(real(file), offset, count, flags);
}

void indexBarrier(sqlite3_file* file)
{
    real(file)->pMethods->xShmBarrier(real(file));
}

int unmapIndex(sqlite3_file* file, int remove)
{
    return real(file)->pMethods->xShmUnmap(real(file), remove);
}

// Version 2: with a shared index for the write-ahead log, without mapped files, whose writes nobody would see.
constexpr sqlite3_io_methods kMethods{.iVersion = 2,
                                      .xClose = closeFile,
                                      .xRead = readFile,
                                      .xWrite = writeFile,
                                      .xTruncate = truncateFile,
                                      .xSync = syncFile,
                                      .xFileSize = sizeOfFile,
                                      .xLock = lockFile,
                                      .xUnlock = unlockFile,
                                      .xCheckReservedLock = checkLock,
                                      .xFileControl = controlFile,
                                      .xSectorSize = sectorSize,
                                      .xDeviceCharacteristics = characteristics,
                                      .xShmMap = mapIndex,
                                      .xShmLock = lockIndex,
                                      .xShmBarrier = indexBarrier,
                                      .xShmUnmap = unmapIndex,
                                      .xFetch = nullptr,
                                      .xUnfetch = nullptr};

int openFile(sqlite3_vfs* /*vfs*/, const char* path, sqlite3_file* file, int flags, int* outFlags)
{
    file->pMethods = nullptr;
    real(file)->pMethods = nullptr;
    ours(file)->path = path;
    const int result = g_system->xOpen(g_system, path, real(file), flags, outFlags);
    if (real(file)->pMethods != nullptr) {
        file->pMethods = &kMethods;
    }
    return result;
}

int deleteFile(sqlite3_vfs* /*vfs*/, const char* path, int syncDirectory)
{
    const int result = g_disk->perform({.kind = UnsyncedDisk::Kind::remove, .name = nameOf(path)},
                                       [&] { return g_system->xDelete(g_system, path, syncDirectory); });
    if (result == SQLITE_OK && syncDirectory != 0) {
        g_disk->perform({.kind = UnsyncedDisk::Kind::sync, .name = nameOf(path)}, [] { return SQLITE_OK; });
    }
    return result;
}

// A file under reconstruction.
class Contents {
public:
    void apply(const UnsyncedDisk::Operation& operation, std::size_t length)
    {
        using Kind = UnsyncedDisk::Kind;
        const auto offset = static_cast<std::size_t>(operation.offset);
        if (operation.kind == Kind::write) {
            if (bytes_.size() < offset + length) {
                bytes_.resize(offset + length);
            }
            bytes_.replace(offset, length, operation.bytes, 0, length);
            there_ = true;
        } else if (operation.kind == Kind::truncate) {
            bytes_.resize(offset);
        } else if (operation.kind == Kind::remove) {
            bytes_.clear();
            there_ = false;
        }
    }

    void write(const std::string& path) const
    {
        if (there_) {
            std::ofstream(path, std::ios::binary) << bytes_;
        }
    }

private:
    std::string bytes_;
    bool there_ = false;
};

}  // namespace

UnsyncedDisk& UnsyncedDisk::install()
{
    static UnsyncedDisk disk;
    static sqlite3_vfs vfs;
    disk.operations_.clear();
    if (g_disk != nullptr) {
        return disk;
    }
    g_disk = &disk;
    g_system = sqlite3_vfs_find(nullptr);
    vfs = *g_system;
    vfs.pNext = nullptr;
    vfs.zName = "unsynced";
    vfs.szOsFile = static_cast<int>(sizeof(File)) + g_system->szOsFile;
    vfs.xOpen = openFile;
    vfs.xDelete = deleteFile;
    if (sqlite3_vfs_register(&vfs, 1) != SQLITE_OK) {
        throw std::runtime_error("SQLite takes no other file system");
    }
    return disk;
}

void UnsyncedDisk::record(bool on)
{
    const std::lock_guard lock(mutex_);
    recording_ = on;
}

std::size_t UnsyncedDisk::size() const
{
    const std::lock_guard lock(mutex_);
    return operations_.size();
}

int UnsyncedDisk::perform(Operation operation, const std::function<int()>& work)
{
    const std::lock_guard lock(mutex_);
    const int result = work();
    if (result == SQLITE_OK && recording_) {
        operations_.push_back(std::move(operation));
    }
    return result;
}

void UnsyncedDisk::makeFiles(const std::string& directory, std::size_t count, Random& random) const
{
    std::map<std::string, std::size_t> synced;  // operations of a file before this one have reached the disk
    for (std::size_t i = 0; i < count; ++i) {
        if (operations_[i].kind == Kind::sync) {
            synced[operations_[i].name] = i;
        }
    }
    std::map<std::string, Contents> files;
    for (std::size_t i = 0; i < count; ++i) {
        const Operation& operation = operations_[i];
        std::size_t length = operation.bytes.size();
        if (const auto last = synced.find(operation.name); last == synced.end() || i > last->second) {
            constexpr std::size_t kSector = 512;
            switch (random() % 4) {
            case 0: continue;
            case 1:
                length = std::min(length, static_cast<std::size_t>(random() % (length / kSector + 1)) * kSector);
                break;
            default: break;
            }
        }
        files[operation.name].apply(operation, length);
    }
    for (const auto& [name, contents] : files) {
        contents.write(directory + '/' + name);
    }
}

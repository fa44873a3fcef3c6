// People and programs at work on the simulated volume: carries out the events of a plan that are about files, with the
// writes, renames and deletions that such programs make and pauses of a few milliseconds between them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "lives/plan.h"
#include "sim/ntfs_volume.h"

namespace tavi::lives {

class Workload {
public:
    // `sleep` takes virtual milliseconds; `changed` is called after every change of the volume.
    Workload(sim::NtfsVolume& volume, std::function<void(std::int64_t)> sleep, std::function<void()> changed);

    // False when the event is not about files.
    bool Perform(const Event& event);
    void LetGo();  // closes the held files
    bool holdsFiles() const { return !held_.empty(); }

private:
    using Path = const std::u16string&;

    void PerformFile(const Event& event);
    void PerformDirectory(const Event& event);
    std::string NewContents();
    void Breathe();  // between two calls of one program
    void Done();
    void Need(Path path);  // a file with contents
    void NeedDirectoryOf(Path path);
    void Create(Path path, std::string_view contents, std::uint32_t attributes = 0x20);
    void Write(Path path, int times);
    void Rename(Path from, Path to);
    void Remove(Path path);
    void SaveByReplace(Path path);
    void SaveByBackup(Path path, std::uint64_t number);
    void SaveBesideBak(Path path);
    void SaveMatlab(Path path, std::uint64_t number);
    void Download(Path path);
    void LockFile(Path path);
    void Swap(Path path, Path other);
    void MoveIn(Path path);
    void Placeholder(Path path);
    void Hydrate(Path path);
    void ReleaseData(Path path);
    void MoveDirectoryIn(Path path);
    void PerformRicher(const Event& event);
    void OpenByShell(Path path);
    void Scratch(Path path);
    void HoldOpen(Path path, sim::Opening opening);
    void EmptyBin();

    sim::NtfsVolume& volume_;
    std::function<void(std::int64_t)> sleep_;
    std::function<void()> changed_;
    std::vector<sim::Frn> held_;
    std::uint64_t counter_ = 0;
    std::uint64_t rhythm_ = 0;
};

std::u16string DirectoryOf(std::u16string_view path);
std::u16string NameOf(std::u16string_view path);

}  // namespace tavi::lives

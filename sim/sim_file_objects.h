// What the simulated machine's file handles stand for. Internal to sim.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "sim/sim_files.h"

namespace tavi::sim {

class VolumeObject final : public Object {
public:
    explicit VolumeObject(NtfsVolume& opened) : volume(opened) {}
    NtfsVolume& volume;
};

class FindObject final : public Object {
public:
    std::vector<platform::FindData> entries;
    std::size_t next = 0;
};

// A file whose bytes are somewhere, with a position; keeps its entry in the sharing table while it is open.
class FileObject : public StreamObject {
public:
    FileObject(SimFiles& files, std::u16string key, ShareEntry share);
    void OnClose(Core& core) override;
    bool Read(Call& call, std::span<std::byte> buffer, std::uint32_t& bytesRead) override;
    bool Write(Call& call, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) override;
    bool Size(Call& call, std::int64_t& bytes) override;
    bool Seek(Call& call, std::int64_t distance, std::uint32_t method) override;

    virtual std::u16string FullPath() const = 0;

protected:
    virtual std::int64_t Bytes() = 0;
    virtual std::size_t ReadAt(std::int64_t offset, std::span<std::byte> buffer) = 0;
    virtual bool WriteAt(std::int64_t offset, std::span<const std::byte> bytes) = 0;

private:
    SimFiles& files_;
    std::u16string key_;
    ShareEntry share_;
    std::int64_t position_ = 0;
};

class NodeObject final : public FileObject {
public:
    NodeObject(SimFiles& files, NtfsVolume& onVolume, Frn number, std::u16string key, ShareEntry share)
        : FileObject(files, std::move(key), share), volume(onVolume), frn(number) {}
    bool Information(Call& call, platform::FileInformation& information) override;

    std::u16string FullPath() const override;

    NtfsVolume& volume;
    Frn frn;

protected:
    std::int64_t Bytes() override;
    std::size_t ReadAt(std::int64_t offset, std::span<std::byte> buffer) override;
    bool WriteAt(std::int64_t offset, std::span<const std::byte> bytes) override;
};

class HostObject final : public FileObject {
public:
    HostObject(SimFiles& files, std::filesystem::path path, bool directory, const std::u16string& name,
               ShareEntry share)
        : FileObject(files, NtfsVolume::Fold(name), share),
          path_(std::move(path)),
          directory_(directory),
          name_(name) {}
    bool Information(Call& call, platform::FileInformation& information) override;
    std::u16string FullPath() const override { return name_; }

protected:
    std::int64_t Bytes() override;
    std::size_t ReadAt(std::int64_t offset, std::span<std::byte> buffer) override;
    bool WriteAt(std::int64_t offset, std::span<const std::byte> bytes) override;

private:
    std::filesystem::path path_;
    bool directory_;
    std::u16string name_;
};

}  // namespace tavi::sim

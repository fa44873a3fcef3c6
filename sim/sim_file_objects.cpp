#include "sim/sim_file_objects.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>

#include "platform/constants.h"

namespace tavi::sim {

using namespace platform;

bool StreamObject::Size(Call& call, std::int64_t&) {
    return call.Fail(kErrorInvalidFunction, false);
}
bool StreamObject::Seek(Call& call, std::int64_t, std::uint32_t) {
    return call.Fail(kErrorInvalidFunction, false);
}
bool StreamObject::Information(Call& call, FileInformation&) {
    return call.Fail(kErrorInvalidFunction, false);
}

FileObject::FileObject(SimFiles& files, std::u16string key, ShareEntry share)
    : files_(files), key_(std::move(key)), share_(share) {
    files_.AddShare(key_, share_);
}

void FileObject::OnClose(Core&) {
    files_.RemoveShare(key_, share_);
}

bool FileObject::Read(Call& call, std::span<std::byte> buffer, std::uint32_t& bytesRead) {
    if ((share_.access & (kGenericRead | kGenericAll)) == 0) {
        return call.Fail(kErrorAccessDenied, false);
    }
    bytesRead = static_cast<std::uint32_t>(ReadAt(position_, buffer));
    position_ += bytesRead;
    return true;
}

bool FileObject::Write(Call& call, std::span<const std::byte> bytes, std::uint32_t& bytesWritten) {
    if ((share_.access & (kGenericWrite | kGenericAll)) == 0 || !WriteAt(position_, bytes)) {
        return call.Fail(kErrorAccessDenied, false);
    }
    bytesWritten = static_cast<std::uint32_t>(bytes.size());
    position_ += bytesWritten;
    return true;
}

bool FileObject::Size(Call&, std::int64_t& bytes) {
    bytes = Bytes();
    return true;
}

bool FileObject::Seek(Call& call, std::int64_t distance, std::uint32_t method) {
    const std::int64_t from = method == kFileBegin ? 0 : method == kFileEnd ? Bytes() : position_;
    if (from + distance < 0) {
        return call.Fail<bool>(131, false);  // ERROR_NEGATIVE_SEEK
    }
    position_ = from + distance;
    return true;
}

std::u16string NodeObject::FullPath() const {
    const std::u16string path = volume.PathOf(frn);
    return path.empty() ? path : std::u16string{volume.drive(), u':'} + path;
}

bool NodeObject::Information(Call& call, FileInformation& information) {
    const auto info = volume.InfoByFrn(frn);
    if (!info) {
        return call.Fail(kErrorInvalidHandle, false);
    }
    information = {info->attributes, frn};
    return true;
}

std::int64_t NodeObject::Bytes() {
    const auto info = volume.InfoByFrn(frn);
    return info ? static_cast<std::int64_t>(info->contents.size()) : 0;
}

std::size_t NodeObject::ReadAt(std::int64_t offset, std::span<std::byte> buffer) {
    const auto info = volume.InfoByFrn(frn);
    if (!info || offset >= static_cast<std::int64_t>(info->contents.size())) {
        return 0;
    }
    const auto start = static_cast<std::size_t>(offset);
    const std::size_t bytes = std::min(buffer.size(), info->contents.size() - start);
    std::memcpy(buffer.data(), info->contents.data() + start, bytes);
    return bytes;
}

bool NodeObject::WriteAt(std::int64_t offset, std::span<const std::byte> bytes) {
    auto info = volume.InfoByFrn(frn);
    if (!info) {
        return false;
    }
    const auto start = static_cast<std::size_t>(offset);
    const bool extends = start + bytes.size() > info->contents.size();
    info->contents.resize(std::max(info->contents.size(), start + bytes.size()));
    std::memcpy(info->contents.data() + start, bytes.data(), bytes.size());
    const std::u16string path = volume.PathOf(frn);
    volume.Write(path, info->contents, WriteKind::kOverwrite);
    return !extends || volume.Touch(path, kReasonDataExtend);
}

bool HostObject::Information(Call&, FileInformation& information) {
    information = {directory_ ? kFileAttributeDirectory : kFileAttributeArchive,
                   std::hash<std::string>()(path_.string())};
    return true;
}

std::int64_t HostObject::Bytes() {
    std::error_code failure;
    const auto bytes = std::filesystem::file_size(path_, failure);
    return failure ? 0 : static_cast<std::int64_t>(bytes);
}

std::size_t HostObject::ReadAt(std::int64_t offset, std::span<std::byte> buffer) {
    std::ifstream in(path_, std::ios::binary);
    in.seekg(offset);
    std::string bytes(buffer.size(), '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    const auto count = static_cast<std::size_t>(std::max<std::streamsize>(in.gcount(), 0));
    std::memcpy(buffer.data(), bytes.data(), count);
    return count;
}

bool HostObject::WriteAt(std::int64_t offset, std::span<const std::byte> bytes) {
    if (directory_) {
        return false;
    }
    std::fstream out(path_, std::ios::binary | std::ios::in | std::ios::out);
    out.seekp(offset);
    std::string copy(bytes.size(), '\0');
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    out.write(copy.data(), static_cast<std::streamsize>(copy.size()));
    out.flush();
    return out.good();
}

}  // namespace tavi::sim

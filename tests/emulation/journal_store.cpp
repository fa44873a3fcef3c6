#include "journal_store.h"

#include <windows.h>

#include <shlobj.h>

#include <cstring>
#include <stdexcept>

namespace tavi::emulation {
namespace {

constexpr std::uint64_t kPrefixBytes = 16;

struct Prefix {
    std::uint64_t generation = 0;
    std::uint64_t length = 0;
};
static_assert(sizeof(Prefix) == kPrefixBytes);

class Locked {
public:
    explicit Locked(HANDLE mutex) : mutex_(mutex) { WaitForSingleObject(mutex, INFINITE); }
    ~Locked() { ReleaseMutex(mutex_); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

private:
    HANDLE mutex_;
};

}  // namespace

std::wstring StateFolder() {
    wchar_t folder[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder);
    const std::wstring path = std::wstring(folder) + L"\\TaviEmulation";
    CreateDirectoryW(path.c_str(), nullptr);
    return path;
}

std::wstring DefaultStorePath() {
    return StateFolder() + L"\\journal.state";
}

std::wstring PlaceholderListPath() {
    return StateFolder() + L"\\placeholders.txt";
}

JournalStore::JournalStore(const std::wstring& path)
    : mutex_(CreateMutexW(nullptr, FALSE, L"Global\\TaviEmulatedJournal")),
      file_(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                        OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {
    if (mutex_ == nullptr || file_ == INVALID_HANDLE_VALUE) {
        throw std::runtime_error("the emulated journal's state cannot be opened");
    }
}

JournalStore::~JournalStore() {
    CloseHandle(file_);
    CloseHandle(mutex_);
}

void JournalStore::Update(const std::function<void(sim::EmulatedJournal&)>& change) {
    const Locked locked(mutex_);
    Refresh();
    change(journal_);
    Save();
}

std::uint32_t JournalStore::Control(std::uint32_t code, std::span<const std::byte> input, std::span<std::byte> output,
                                    std::uint32_t& bytesReturned) {
    const Locked locked(mutex_);
    Refresh();
    const std::uint32_t error = journal_.DeviceIoControl(code, input, output, bytesReturned);
    Save();
    return error;
}

void JournalStore::Refresh() {
    Prefix prefix;
    const std::string bytes = ReadAt(0, kPrefixBytes);
    if (bytes.size() < kPrefixBytes) {
        return;
    }
    std::memcpy(&prefix, bytes.data(), kPrefixBytes);
    if (prefix.generation == generation_ || !journal_.Restore(ReadAt(kPrefixBytes, prefix.length))) {
        return;
    }
    generation_ = prefix.generation;
    savedHeader_ = journal_.Header();
    savedBase_ = journal_.streamBase();
    savedBytes_ = journal_.Stream().size();
}

void JournalStore::Save() {
    const std::string header = journal_.Header();
    const std::string_view stream = journal_.Stream();
    if (header == savedHeader_ && stream.size() == savedBytes_) {
        return;
    }
    const bool appended = !savedHeader_.empty() && journal_.streamBase() == savedBase_ && stream.size() >= savedBytes_;
    const std::size_t from = appended ? savedBytes_ : 0;
    WriteAt(kPrefixBytes + header.size() + from, stream.substr(from));
    WriteAt(kPrefixBytes, header);
    const Prefix prefix{generation_ + 1, header.size() + stream.size()};
    WriteAt(0, std::string_view(reinterpret_cast<const char*>(&prefix), sizeof prefix));
    generation_ = prefix.generation;
    savedHeader_ = header;
    savedBase_ = journal_.streamBase();
    savedBytes_ = stream.size();
}

void JournalStore::WriteAt(std::uint64_t offset, std::string_view bytes) {
    LARGE_INTEGER position;
    position.QuadPart = static_cast<LONGLONG>(offset);
    DWORD written = 0;
    if (!SetFilePointerEx(file_, position, nullptr, FILE_BEGIN) ||
        !WriteFile(file_, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) ||
        written != bytes.size()) {
        throw std::runtime_error("the emulated journal's state cannot be written");
    }
}

std::string JournalStore::ReadAt(std::uint64_t offset, std::size_t bytes) {
    LARGE_INTEGER position;
    position.QuadPart = static_cast<LONGLONG>(offset);
    std::string result(bytes, '\0');
    DWORD read = 0;
    if (!SetFilePointerEx(file_, position, nullptr, FILE_BEGIN) ||
        !ReadFile(file_, result.data(), static_cast<DWORD>(bytes), &read, nullptr)) {
        read = 0;
    }
    result.resize(read);
    return result;
}

}  // namespace tavi::emulation

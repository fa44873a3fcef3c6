// The emulated change journal's state in a file, shared by the processes that take part: the service (through the
// crash-report double), the feeder and the end-to-end tests. Like a volume's journal it outlives them all. A named
// mutex keeps them apart; a process that dies while it holds it leaves it to the next. Windows only.
//
// The file: 8 bytes generation (a new one with every change), 8 bytes length of what follows, the journal's header, its
// stream. An update that only appended writes the new bytes and the header. Which files are open, and so which reasons
// accumulate, is known only to the process that feeds the journal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "sim/emulated_journal.h"

namespace tavi::emulation {

// The folder for the state, in the common application-data folder, so that a service and a user's program agree.
std::wstring StateFolder();
std::wstring DefaultStorePath();
std::wstring PlaceholderListPath();

class JournalStore {
public:
    explicit JournalStore(const std::wstring& path);
    ~JournalStore();
    JournalStore(const JournalStore&) = delete;
    JournalStore& operator=(const JournalStore&) = delete;

    // Runs `change` on the state as it is now and stores what it made of it. Batch many appends in one call.
    void Update(const std::function<void(sim::EmulatedJournal&)>& change);
    // Answers a control code; returns the Windows error code, 0 for success.
    std::uint32_t Control(std::uint32_t code, std::span<const std::byte> input, std::span<std::byte> output,
                          std::uint32_t& bytesReturned);

private:
    void Refresh();
    void Save();
    void WriteAt(std::uint64_t offset, std::string_view bytes);
    std::string ReadAt(std::uint64_t offset, std::size_t bytes);

    void* mutex_ = nullptr;
    void* file_ = nullptr;
    std::uint64_t generation_ = 0;
    std::string savedHeader_;
    std::int64_t savedBase_ = 0;
    std::size_t savedBytes_ = 0;
    sim::EmulatedJournal journal_;
};

}  // namespace tavi::emulation

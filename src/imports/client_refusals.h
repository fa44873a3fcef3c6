// The error log's lines about refused clients, and how much of the service's time those clients get. Any local program
// may connect as often as it likes; it must not push everything else out of the log, nor keep the service busy.
//
//  - A process that was refused gets one line, however often it comes again; the last 64 are remembered.
//  - At most 100 lines are written within an hour. The last of them says so, and the next line after it how many
//    refusals went without one.
//  - After more than three refusals in a row the next client waits 100 ms.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace tavi::DigitalSignature {

// A process as no other one will ever be it. One that could not be opened has no time.
struct ProcessIdentity {
    std::uint32_t processId = 0;
    platform::FileTime startedAt = 0;

    bool operator==(const ProcessIdentity&) const = default;
};

class ClientRefusals {
public:
    static constexpr std::size_t kRemembered = 64;
    static constexpr std::uint32_t kLinesPerHour = 100;
    static constexpr std::uint32_t kWithoutPause = 3;
    static constexpr std::uint32_t kPauseMs = 100;

    // `now` is the clock's time; when it was set back, a new hour begins.
    void Refused(const ProcessIdentity& process, platform::FileTime now, std::string_view reason);
    void Accepted() { inARow_ = 0; }
    std::uint32_t PauseMs() const { return inARow_ > kWithoutPause ? kPauseMs : 0; }

private:
    bool IsKnown(const ProcessIdentity& process) const;
    void Remember(const ProcessIdentity& process);
    bool TakeLine(platform::FileTime now);
    void WriteLine(const ProcessIdentity& process, std::string_view reason);

    std::vector<ProcessIdentity> known_;  // a ring once it is full
    std::size_t oldestKnown_ = 0;
    std::uint32_t inARow_ = 0;
    platform::FileTime hourBegan_ = 0;
    std::uint32_t linesThisHour_ = 0;
    std::uint64_t withoutLine_ = 0;
};

}  // namespace tavi::DigitalSignature

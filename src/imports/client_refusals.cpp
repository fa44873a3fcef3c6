#include "imports/client_refusals.h"

#include <algorithm>
#include <string>
#include <utility>

#include "imports/class_log.h"

namespace tavi::DigitalSignature {

namespace {

constexpr platform::FileTime kHour = platform::FileTime{3600} * 10'000'000;

}  // namespace

void ClientRefusals::Refused(const ProcessIdentity& process, platform::FileTime now, std::string_view reason) {
    inARow_ = std::min(inARow_ + 1, kWithoutPause + 1);
    if (IsKnown(process)) {
        return;
    }
    Remember(process);
    if (TakeLine(now)) {
        WriteLine(process, reason);
    } else {
        ++withoutLine_;
    }
}

bool ClientRefusals::IsKnown(const ProcessIdentity& process) const {
    return std::ranges::find(known_, process) != known_.end();
}

void ClientRefusals::Remember(const ProcessIdentity& process) {
    if (known_.size() < kRemembered) {
        known_.push_back(process);
        return;
    }
    known_[oldestKnown_] = process;
    oldestKnown_ = (oldestKnown_ + 1) % kRemembered;
}

bool ClientRefusals::TakeLine(platform::FileTime now) {
    if (now < hourBegan_ || now - hourBegan_ >= kHour) {
        hourBegan_ = now;
        linesThisHour_ = 0;
    }
    if (linesThisHour_ == kLinesPerHour) {
        return false;
    }
    ++linesThisHour_;
    return true;
}

void ClientRefusals::WriteLine(const ProcessIdentity& process, std::string_view reason) {
    std::string line = "Refused the client process " + std::to_string(process.processId) + ": ";
    line.append(reason);
    if (const std::uint64_t others = std::exchange(withoutLine_, 0); others != 0) {
        line.append("; refused without a line before it: ").append(std::to_string(others));
    }
    if (linesThisHour_ == kLinesPerHour) {
        line.append("; no more of these lines within this hour");
    }
    Drive::kDigitalSignatureLog.Error("IsValidClient", line);
}

}  // namespace tavi::DigitalSignature

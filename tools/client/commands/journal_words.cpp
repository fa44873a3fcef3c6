#include "commands/journal_words.h"

#include <array>
#include <cstdio>

#include "change_lines.h"
#include "imports/type_convert.h"

namespace tavi::client {

namespace {

constexpr double kTicksPerHour = 3600.0 * 10'000'000;
constexpr double kShortestSpanTicks = 60.0 * 10'000'000;

}  // namespace

PositionState JudgePosition(const JournalLook& look, std::int64_t position) {
    if (position < look.data.firstUsn) {
        return PositionState::kExpired;
    }
    return position > look.data.nextUsn ? PositionState::kAhead : PositionState::kValid;
}

std::string DescribePosition(const JournalLook& look, std::int64_t position) {
    if (look.state != JournalLook::State::kSeen) {
        return "not compared with the journal";
    }
    switch (JudgePosition(look, position)) {
        case PositionState::kExpired:
            return "expired: the journal begins " + FormatNumber(look.data.firstUsn - position) + " bytes later";
        case PositionState::kAhead:
            return "not of this journal, which ends " + FormatNumber(position - look.data.nextUsn) + " bytes earlier";
        default:
            return FormatNumber(look.data.nextUsn - position) + " bytes behind the journal's end, " +
                   FormatNumber(position - look.data.firstUsn) + " bytes ahead of its beginning";
    }
}

std::optional<double> HoursHeld(const JournalLook& look) {
    const double bytes = static_cast<double>(look.data.nextUsn - look.data.firstUsn);
    if (!look.age || bytes <= 0 || static_cast<double>(*look.age) < kShortestSpanTicks) {
        return std::nullopt;
    }
    return static_cast<double>(look.data.maximumSize) / bytes * static_cast<double>(*look.age) / kTicksPerHour;
}

std::string DescribeLookProblem(const JournalLook& look, const std::u16string& folder) {
    const std::string drive = TypeConvert::UnicodeToUTF8(DriveOf(folder));
    const std::string code = " (error " + std::to_string(look.error) + ")";
    switch (look.state) {
        case JournalLook::State::kNoDrive:
            return "The path " + TypeConvert::UnicodeToUTF8(folder) + " does not begin with a drive";
        case JournalLook::State::kDenied:
            return "The change journal of " + drive + " can be looked at only with an administrator's rights" + code;
        case JournalLook::State::kNotOpened:
            return "The volume " + drive + " cannot be opened" + code;
        case JournalLook::State::kNoJournal:
            return "The volume " + drive + " has no change journal" + code;
        case JournalLook::State::kBeingDeleted:
            return "The change journal of " + drive + " is being deleted" + code;
        case JournalLook::State::kNotQueried:
            return "The change journal of " + drive + " cannot be queried" + code;
        default:
            return {};
    }
}

std::string FormatBytes(std::uint64_t bytes) {
    static constexpr std::array<const char*, 4> kUnits = {"KiB", "MiB", "GiB", "TiB"};
    if (bytes < 1024) {
        return std::to_string(bytes) + " bytes";
    }
    double size = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    for (; size >= 1024 && unit + 1 < kUnits.size(); ++unit) {
        size /= 1024;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f", size);
    std::string number = text.data();
    if (number.ends_with(".0")) {
        number.resize(number.size() - 2);
    }
    return number + " " + kUnits[unit];
}

}  // namespace tavi::client

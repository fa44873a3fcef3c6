#include "tavi_client/reply.h"

#include <algorithm>
#include <array>

namespace tavi::client {

namespace {

std::uint32_t ReadNumber(std::span<const std::uint8_t> bytes) {
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

struct Meaning {
    Command command;
    std::uint32_t status;
    std::string_view words;
};

constexpr std::array kMeanings = {
    Meaning{Command::kStart, kReplyContinues, "listening, from where the service had left off"},
    Meaning{Command::kStart, kReplyJournalRecreated,
            "listening, but the volume's change journal had been closed and was created again: changes may be missing"},
    Meaning{Command::kStart, kReplyPositionExpired,
            "listening, but the change journal no longer held the stored position: changes may be missing"},
    Meaning{Command::kStart, kReplyTaskReplaced, "listening, in place of the task of another user or folder"},
    Meaning{Command::kStart, kReplyFirstLogin, "listening, for the first time for this user"},
    Meaning{Command::kStart, kReplyStartFailed, "not listening: the service could not start the task"},
    Meaning{Command::kFinish, kReplyFinished, "the listening task has ended"},
    Meaning{Command::kStatus, kReplyNoTask, "no listening task is running"},
    Meaning{Command::kStatus, kReplyJournalUnusable,
            "a listening task is running, but its volume's change journal cannot be used"},
    Meaning{Command::kStatus, kReplyJournalUsable, "a listening task is running and its change journal can be used"},
};

}  // namespace

std::optional<std::uint32_t> DecodeReply(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != kReplyFrameBytes || ReadNumber(bytes) != kReplyFrameBytes) {
        return std::nullopt;
    }
    return ReadNumber(bytes.subspan(4));
}

std::string_view DescribeReply(Command command, std::uint32_t status) {
    const auto found = std::ranges::find_if(
        kMeanings, [&](const Meaning& meaning) { return meaning.command == command && meaning.status == status; });
    return found == kMeanings.end() ? std::string_view{} : found->words;
}

}  // namespace tavi::client

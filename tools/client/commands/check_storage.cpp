#include <algorithm>
#include <array>
#include <cstdio>

#include "change_lines.h"
#include "commands/findings.h"
#include "commands/journal_words.h"
#include "commands/read_problem.h"
#include "imports/file_log.h"
#include "imports/type_convert.h"
#include "machine/journal_look.h"
#include "machine/log_files.h"
#include "machine/real_name.h"
#include "platform/constants.h"
#include "platform/platform.h"
#include "tavi_client/database_path.h"
#include "tavi_client/database_summary.h"

namespace tavi::client {

namespace {

constexpr double kFewHours = 24;
constexpr std::size_t kLogLines = 3;
constexpr std::size_t kLinesToChooseFrom = 100;
constexpr std::string_view kNoFailure = "the file system is NTFS";  // in the error log with every start request

std::string Utf8(const std::u16string& text) {
    return TypeConvert::UnicodeToUTF8(text);
}

std::string JournalCommand(const std::u16string& folder) {
    return "fsutil usn createjournal m=268435456 a=33554432 " + Utf8(DriveOf(folder));
}

std::string FormatHours(double hours) {
    std::array<char, 32> text{};
    if (hours >= 72) {
        std::snprintf(text.data(), text.size(), "%.0f days", hours / 24);
    } else {
        std::snprintf(text.data(), text.size(), hours < 10 ? "%.1f hours" : "%.0f hours", hours);
    }
    return text.data();
}

Finding DescribeJournal(const JournalLook& look, const std::u16string& folder) {
    std::string text =
        "The change journal of " + Utf8(DriveOf(folder)) + " is there: " + FormatBytes(look.data.maximumSize);
    const std::optional<double> hours = HoursHeld(look);
    if (!hours) {
        return {Verdict::kFine, text + "; how long it holds what is written to it cannot be told yet", {}};
    }
    text += ", holds about " + FormatHours(*hours) + " of changes at the present rate";
    if (*hours >= kFewHours) {
        return {Verdict::kFine, text, {}};
    }
    return {Verdict::kNote, text,
            "Changes made while the service is stopped for longer are lost to it. A larger journal holds more: " +
                JournalCommand(folder)};
}

Finding DescribeMissingJournal(const JournalLook& look, const std::u16string& folder) {
    const std::string problem = DescribeLookProblem(look, folder);
    switch (look.state) {
        case JournalLook::State::kDenied:
            return {Verdict::kNote, problem, "Run this from an administrator's prompt"};
        case JournalLook::State::kNoJournal:
            return {Verdict::kProblem, problem,
                    "The next start request creates one and answers 1, as changes since are unknown; or create a "
                    "large one first: " +
                        JournalCommand(folder)};
        case JournalLook::State::kBeingDeleted:
            return {Verdict::kProblem, problem, "Wait until it is gone, then send the start request again"};
        default:
            return {Verdict::kProblem, problem, "Check the volume: chkdsk " + Utf8(DriveOf(folder)) + " /scan"};
    }
}

// The journal tells a folder's changes under its real name only.
void CheckName(const std::u16string& given, platform::Platform& platform, Findings& findings) {
    const RealName real = LookUpRealName(platform, given);
    if (!real.link.empty()) {
        findings.push_back({Verdict::kNote,
                            "The path of the folder goes through the link " + Utf8(real.link) +
                                ": under this name no change is recorded",
                            "Name the folder that the link leads to in the start request"});
        return;
    }
    std::u16string plain = given;
    while (plain.ends_with(u'\\')) {
        plain.pop_back();
    }
    const std::size_t afterDrive = plain.find(u':') + 1;
    if (plain.substr(afterDrive) != real.path.substr(DriveOf(real.path).size())) {
        findings.push_back({Verdict::kNote,
                            "The folder's real name is " + Utf8(real.path) + ", not " + Utf8(plain) +
                                ": under the other name no change is recorded",
                            "Name it in the start request exactly so. Letter case counts, and short names do not"});
    }
}

void CheckPosition(const UserRow& user, bool taskRuns, const Surroundings& surroundings, Findings& findings) {
    const std::u16string folder = TypeConvert::UTF8ToUnicode(user.listenPath);
    const JournalLook look = LookAtJournal(*surroundings.platform, folder);
    if (look.state != JournalLook::State::kSeen) {
        return;  // told of with the folder
    }
    const std::string text = "The stored position is " + DescribePosition(look, user.position);
    if (JudgePosition(look, user.position) == PositionState::kValid) {
        findings.push_back({Verdict::kFine, text, {}});
        return;
    }
    findings.push_back({Verdict::kProblem,
                        taskRuns ? text + ". If it is this task that is running, it records nothing more" : text,
                        "What changed in between is lost to the service. The next start request answers 2 and goes on "
                        "from the journal's end; the client has to compare its folder. A larger journal holds more: " +
                            JournalCommand(folder)});
}

void CheckUsers(const DoctorOptions& options, const DatabaseSummary& summary, bool taskRuns,
                const Surroundings& surroundings, Findings& findings) {
    for (const UserRow& user : summary.users) {
        if (!options.folder.empty() && user.listenPath != options.folder) {
            findings.push_back({Verdict::kNote,
                                "The service last listened to " + user.listenPath + " for " + user.userId +
                                    ", not to " + options.folder,
                                "Letter case counts. A start request for another folder forgets the changes that are "
                                "stored"});
        }
        CheckPosition(user, taskRuns, surroundings, findings);
    }
}

const char* AdviceForDatabase(ReadState state) {
    switch (state) {
        case ReadState::kMissing:
            return "Send a start request with this user and database folder, and check both for typing errors";
        case ReadState::kBusy:
            return "The service cannot store changes either. Find the program that holds it (Resource Monitor, CPU, "
                   "Associated Handles: ListenService.dat) and end it; a reader must keep its transactions short and "
                   "never switch locking_mode or journal_mode";
        default:
            return "Check that this user may read it. A file that is damaged is made anew: finish the task, delete "
                   "the folder, start again (reply 4)";
    }
}

}  // namespace

bool CheckFolder(const DoctorOptions& options, const Surroundings& surroundings, Findings& findings) {
    if (options.folder.empty()) {
        findings.push_back({Verdict::kNote, "The folder and its change journal were not looked at", "Add --folder"});
        return false;
    }
    platform::Platform& platform = *surroundings.platform;
    const std::u16string folder = TypeConvert::UTF8ToUnicode(options.folder);
    const std::u16string drive = DriveOf(folder);
    if (drive.empty()) {
        findings.push_back({Verdict::kProblem, "The path " + options.folder + " does not begin with a drive",
                            "Listen to a folder on a local NTFS drive"});
        return false;
    }
    std::uint32_t longestName = 0;
    std::u16string fileSystem;
    if (!platform.volumes.GetVolumeInformationW(drive + u'\\', longestName, fileSystem)) {
        findings.push_back({Verdict::kProblem,
                            "The volume " + Utf8(drive) + " cannot be asked for its file system (error " +
                                std::to_string(platform.errors.GetLastError()) + ")",
                            "Check that the drive is there"});
        return false;
    }
    if (fileSystem != u"NTFS") {
        findings.push_back({Verdict::kProblem,
                            "The folder is not on NTFS but on " + Utf8(fileSystem) + ": start requests answer 5",
                            "Move the folder to an NTFS volume; other file systems have no change journal"});
        return false;
    }
    if (platform.paths.PathFileExistsW(folder)) {
        findings.push_back({Verdict::kFine, "The folder is there, on NTFS", {}});
        CheckName(folder, platform, findings);
    } else {
        findings.push_back({Verdict::kNote, "The folder does not exist; its volume is NTFS",
                            "The service creates it when a start request names it"});
    }
    return true;
}

void CheckJournal(const DoctorOptions& options, const Surroundings& surroundings, Findings& findings) {
    const std::u16string folder = TypeConvert::UTF8ToUnicode(options.folder);
    const JournalLook look = LookAtJournal(*surroundings.platform, folder);
    findings.push_back(look.state == JournalLook::State::kSeen ? DescribeJournal(look, folder)
                                                               : DescribeMissingJournal(look, folder));
}

void CheckDatabase(const DoctorOptions& options, bool taskRuns, const Surroundings& surroundings, Findings& findings) {
    if (!options.database.given()) {
        findings.push_back({Verdict::kNote, "The database was not looked at", "Add --user and --database"});
        return;
    }
    const std::string path = DatabasePath(options.database.baseFolder, options.database.userId);
    const DatabaseSummary summary = Summarise(path);
    if (summary.state != ReadState::kRead) {
        findings.push_back({Verdict::kProblem, DescribeReadProblem(summary.state, summary.code, path),
                            AdviceForDatabase(summary.state)});
        return;
    }
    const std::int64_t changes = summary.rows.at("fileChangeRecord");
    findings.push_back({Verdict::kFine,
                        "The database can be read: " + FormatNumber(changes) +
                            (changes == 1 ? " change, " : " changes, ") + FormatBytes(summary.databaseBytes) +
                            ", log " + FormatBytes(summary.logBytes),
                        {}});
    CheckUsers(options, summary, taskRuns, surroundings, findings);
}

void CheckLogs(const Surroundings& surroundings, Findings& findings) {
    platform::Platform& platform = *surroundings.platform;
    const std::u16string folder = Drive::ServiceLogFolder(platform);
    for (const char16_t* name : {u"error.log", u"read_usn_journal_err"}) {
        std::vector<std::string> lines = LastLines(platform, folder + u'\\' + name, kLinesToChooseFrom);
        std::erase_if(lines, [](const std::string& line) { return line.ends_with(kNoFailure); });
        const std::size_t first = lines.size() - std::min(lines.size(), kLogLines);
        for (std::size_t index = first; index < lines.size(); ++index) {
            findings.push_back({Verdict::kNote, Utf8(name) + ": " + lines[index], {}});
        }
    }
    findings.push_back({Verdict::kNote, "The logs are in " + Utf8(folder), {}});
}

}  // namespace tavi::client

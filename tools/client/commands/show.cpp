#include <ostream>

#include "change_lines.h"
#include "commands/commands.h"
#include "commands/journal_words.h"
#include "commands/read_problem.h"
#include "imports/type_convert.h"
#include "tavi_client/database_path.h"
#include "tavi_client/database_summary.h"

namespace tavi::client {

namespace {

void Row(std::ostream& out, std::string_view name, const std::string& value) {
    constexpr std::size_t kColumn = 18;
    out << name << std::string(kColumn - name.size(), ' ') << value << '\n';
}

void ShowUser(const UserRow& user, const Surroundings& surroundings) {
    Row(surroundings.out, "User", WithoutControls(user.userId));
    Row(surroundings.out, "Folder", WithoutControls(user.listenPath));
    const std::u16string folder = TypeConvert::UTF8ToUnicode(user.listenPath);
    const JournalLook look = LookAtJournal(*surroundings.platform, folder);
    Row(surroundings.out, "Position", FormatNumber(user.position) + ", " + DescribePosition(look, user.position));
    if (const std::string problem = DescribeLookProblem(look, folder); !problem.empty()) {
        Row(surroundings.out, "", problem);
    }
}

std::string DescribeChanges(const DatabaseSummary& summary) {
    std::string text = FormatNumber(summary.rows.at("fileChangeRecord"));
    if (summary.lastId != 0) {
        text += ", ids " + FormatNumber(summary.firstId) + " to " + FormatNumber(summary.lastId);
    }
    for (const char* separator = ": "; const auto& [kind, count] : summary.changesByKind) {
        text += separator + FormatNumber(count) + " " + std::string(ChangeKindName(kind));
        separator = ", ";
    }
    return text;
}

}  // namespace

int Show(const ShowOptions& options, const Surroundings& surroundings) {
    const std::string path = DatabasePath(options.database.baseFolder, options.database.userId);
    const DatabaseSummary summary = Summarise(path);
    if (summary.state != ReadState::kRead) {
        surroundings.err << DescribeReadProblem(summary.state, summary.code, path) << ".\n";
        return kExitUnreadable;
    }
    std::ostream& out = surroundings.out;
    if (summary.users.empty()) {
        Row(out, "User", "none: no start request has succeeded yet");
    }
    for (const UserRow& user : summary.users) {
        ShowUser(user, surroundings);
    }
    Row(out, "Changes", DescribeChanges(summary));
    Row(out, "Held back", FormatNumber(summary.rows.at("delayRecord")));
    Row(out, "Temporary files", FormatNumber(summary.rows.at("temporaryFile")));
    Row(out, "Known directories", FormatNumber(summary.rows.at("pathMapping")));
    Row(out, "Database", FormatBytes(summary.databaseBytes) + ", log " + FormatBytes(summary.logBytes));
    Row(out, "", path);
    return kExitDone;
}

}  // namespace tavi::client

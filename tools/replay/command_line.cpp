#include "replay/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <fstream>

#include "replay/file_path.h"
#include "replay/journal_command.h"

namespace tavi::replay {
namespace {

const char* const kExitCodes =
    "Exit code: 0 when everything was replayed, 1 when the input is bad or cannot be read or the output cannot be "
    "written, 2 when the command line is wrong.";

const char* const kRecordsDescription =
    "Runs the steps on batches of decoded journal records. FILE holds one JSON object, or several, one per line:\n"
    R"({"records":[{"usn","reason","fileAttributes","timestamp","filename","frn","oldfrn"}...],)"
    "\n"
    R"( "delay":[{"fileName","originalFileName","fileAttributes","isTempFile","reason","delayCount","timestamp","frn",)"
    "\n"
    R"(           "oldfrn"}...],)"
    "\n"
    R"( "env":{"listenPath":P,"placeholders":[relative paths],"tree":{relative directory:[[name,attributes,frn]...]}}})"
    "\n"
    "oldfrn, delay and env may be missing. A name with a lone surrogate is an array of its UTF-16 code units.\n"
    "Prints the label of each step and the list it leaves.";

const char* const kJournalDescription =
    "Runs the whole path on raw journal bytes: decoding, resolving of paths, batches, steps. FILE is an extract of a\n"
    "volume's $J stream. The directories are lines of number, parent's number and name, tab-separated, the root being\n"
    "its own parent. Prints, per batch, the label of each step and the list it leaves; or saves the records in a "
    "database.";

struct RecordsOptions {
    std::string file;
    bool json = false;
};

int RunRecordsOn(const RecordsOptions& options, const Streams& standard, bool errorsAreTerminal) {
    Progress progress(standard.errors, errorsAreTerminal);
    const Form form = options.json ? Form::kJson : Form::kText;
    if (options.file == "-") {
        return RunRecords(standard, "standard input", form, progress);
    }
    std::ifstream file(ToPath(options.file), std::ios::binary);
    if (!file) {
        standard.errors << options.file << ": cannot be opened\n";
        return kExitBadInput;
    }
    return RunRecords({file, standard.output, standard.errors}, options.file, form, progress);
}

int RunJournalOn(const JournalOptions& options, const Streams& standard, bool errorsAreTerminal) {
    Progress progress(standard.errors, errorsAreTerminal);
    return RunJournal(options, standard.output, standard.errors, progress);
}

CLI::App* AddRecordsCommand(CLI::App& app, RecordsOptions& options) {
    CLI::App* command = app.add_subcommand("records", kRecordsDescription);
    command->add_option("FILE", options.file, "the batches; - for standard input")->required();
    command->add_flag("--json", options.json, "one line of JSON per batch instead of tables");
    command->footer(kExitCodes);
    return command;
}

CLI::App* AddJournalCommand(CLI::App& app, JournalOptions& options) {
    CLI::App* command = app.add_subcommand("journal", kJournalDescription);
    command->add_option("FILE", options.journalFile, "the journal's bytes")->required();
    command->add_option("--listen-path", options.listenPath, "the listened folder, with its drive letter")->required();
    command->add_option("--directories", options.directoriesFile, "the volume's directories")->required();
    command->add_option("--start-usn", options.startUsn,
                        "position of the first record to read; else the first there is");
    command
        ->add_option("--extract-usn", options.firstByteUsn,
                     "position of FILE's first byte, for an extract that does not begin with a page of the journal")
        ->check(CLI::NonNegativeNumber);
    command
        ->add_option("--split-interval", options.splitInterval,
                     "changes further apart than this many seconds are in different batches")
        ->check(CLI::Range(0u, kLongestSplitInterval))
        ->capture_default_str();
    const auto setJson = [&options](std::int64_t) { options.form = Form::kJson; };
    command->add_flag("--json", setJson, "one line of JSON per batch instead of tables");
    command->add_option("--database", options.databaseFile, "save the records in this new file instead");
    command->footer(kExitCodes);
    return command;
}

}  // namespace

int RunCommandLine(std::vector<std::string> arguments, const Streams& standard, bool errorsAreTerminal) {
    CLI::App app(
        "Runs recorded journal input through the decoding and the steps of the synchronisation service and "
        "shows what each step did.",
        "TaviReplay");
    app.footer(kExitCodes);
    app.require_subcommand(1);

    RecordsOptions recordsOptions;
    JournalOptions journalOptions;
    const CLI::App* records = AddRecordsCommand(app, recordsOptions);
    AddJournalCommand(app, journalOptions);

    try {
        std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the back
        app.parse(arguments);
        return records->parsed() ? RunRecordsOn(recordsOptions, standard, errorsAreTerminal)
                                 : RunJournalOn(journalOptions, standard, errorsAreTerminal);
    } catch (const CLI::ParseError& error) {
        return app.exit(error, standard.output, standard.errors) == 0 ? kExitDone : kExitUsage;
    } catch (const std::exception& error) {
        standard.errors << "TaviReplay: " << error.what() << '\n';
        return kExitBadInput;
    }
}

}  // namespace tavi::replay

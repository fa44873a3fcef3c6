#include "replay/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>

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

struct RecordsOptions {
    std::string file;
    bool json = false;
};

std::filesystem::path ToPath(const std::string& utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

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

}  // namespace

int RunCommandLine(std::vector<std::string> arguments, const Streams& standard, bool errorsAreTerminal) {
    CLI::App app(
        "Runs recorded journal input through the decoding and the steps of the synchronisation service and "
        "shows what each step did.",
        "TaviReplay");
    app.footer(kExitCodes);
    app.require_subcommand(1);

    RecordsOptions recordsOptions;
    CLI::App* records = app.add_subcommand("records", kRecordsDescription);
    records->add_option("FILE", recordsOptions.file, "the batches; - for standard input")->required();
    records->add_flag("--json", recordsOptions.json, "one line of JSON per batch instead of tables");
    records->footer(kExitCodes);

    try {
        std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the back
        app.parse(arguments);
        return RunRecordsOn(recordsOptions, standard, errorsAreTerminal);
    } catch (const CLI::ParseError& error) {
        return app.exit(error, standard.output, standard.errors) == 0 ? kExitDone : kExitUsage;
    } catch (const std::exception& error) {
        standard.errors << "TaviReplay: " << error.what() << '\n';
        return kExitBadInput;
    }
}

}  // namespace tavi::replay

#include "client.h"

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <ostream>

#include "commands/commands.h"

namespace tavi::client {

namespace {

constexpr const char* kFooter =
    "Exit codes:\n"
    "  0  done: the task listens (start), has ended (finish), or runs with a usable journal (status); nothing is "
    "wrong\n"
    "     (doctor); there is something to tell (explain)\n"
    "  1  start: the service answered that it could not start the task; doctor: there are problems; explain: the sync\n"
    "     log holds nothing about the file\n"
    "  2  wrong arguments\n"
    "  3  the service is not there\n"
    "  4  the service does not accept this client\n"
    "  5  no answer within the time limit\n"
    "  6  the conversation broke down, or the answer was not understood\n"
    "  7  status: no listening task is running\n"
    "  8  status: the change journal of the running task cannot be used\n"
    "  9  the database or the sync log cannot be read (watch, show, explain)\n"
    "  50 start and finish: not run from an elevated prompt; nothing was asked\n"
    "With --exit-with-reply, 10 plus the reply's number whenever the service replied.";

constexpr std::uint32_t kMaxTimeoutSeconds = 3600;

void AddAskOptions(CLI::App& command, AskOptions& options) {
    command.add_option("--timeout", options.timeoutSeconds, "How long to wait for the service, in seconds")
        ->check(CLI::Range(std::uint32_t{1}, kMaxTimeoutSeconds))
        ->capture_default_str();
    command.add_flag("--exit-with-reply", options.exitWithReply, "Exit with 10 plus the number of the service's reply");
}

void AddStart(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
    CLI::App* command = app.add_subcommand("start", "Start or resume listening to a user's folder");
    const auto options = std::make_shared<StartOptions>();
    command->add_option("--user", options->request.userId, "The user's id, 1 to 60 characters")->required();
    command->add_option("--folder", options->request.listenPath, "The folder to listen to, 1 to 300 characters")
        ->required();
    command->add_option("--database", options->request.databasePath, "The base folder of the databases")->required();
    command
        ->add_option("--split-interval", options->request.recordSplitInterval,
                     "Changes further apart than this many seconds are processed in separate batches")
        ->capture_default_str();
    command->add_flag("--after-cut-short", options->afterCutShort,
                      "The start before this one had no answer or reply 5: replies 0 and 3 count as 2");
    AddAskOptions(*command, options->ask);
    command->footer("Needs an elevated prompt: a start ends whatever task is running, another user's too.");
    command->callback([options, surroundings, &exitCode] { exitCode = Start(*options, surroundings); });
}

void AddFinish(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
    CLI::App* command = app.add_subcommand("finish", "End the listening task");
    const auto options = std::make_shared<AskOptions>();
    AddAskOptions(*command, *options);
    command->footer("Needs an elevated prompt: it ends whatever task is running, another user's too.");
    command->callback([options, surroundings, &exitCode] { exitCode = Finish(*options, surroundings); });
}

void AddStatus(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
    CLI::App* command =
        app.add_subcommand("status", "Ask whether a task is running and its change journal can be used");
    const auto options = std::make_shared<AskOptions>();
    AddAskOptions(*command, *options);
    command->callback([options, surroundings, &exitCode] { exitCode = Status(*options, surroundings); });
}

void AddDatabaseOptions(CLI::App& command, DatabaseOptions& options, bool required) {
    command.add_option("--user", options.userId, "The user's id, as in the start request")->required(required);
    command.add_option("--database", options.baseFolder, "The base folder of the databases, as in the start request")
        ->required(required);
}

void AddWatch(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
    CLI::App* command = app.add_subcommand("watch", "Print the changes that the service records, as they come");
    const auto options = std::make_shared<WatchOptions>();
    AddDatabaseOptions(*command, options->database, true);
    command->add_option("--since", options->after, "Begin with the changes behind this id; 0: with all there are");
    command->add_flag("--once", options->once, "Print what there is (with --since: behind that id) and end");
    command->add_option("--seconds", options->seconds,
                        "End after so many seconds instead of running until interrupted");
    command->add_flag("--json", options->json, "One JSON object a line");
    const std::map<std::string, Colour> colours = {
        {"auto", Colour::kAuto}, {"always", Colour::kAlways}, {"never", Colour::kNever}};
    command->add_option("--color", options->colour, "auto (on a terminal), always or never")
        ->transform(CLI::CheckedTransformer(colours).description(""))
        ->option_text("WHEN");
    command->footer(
        "Without --since and --once it begins with what comes from now on. It only reads, in short looks that do not\n"
        "hold up the service, and it goes on when rows are deleted or the database is missing or made anew.\n"
        "Stop it with Ctrl+C.");
    command->callback([options, surroundings, &exitCode] { exitCode = Watch(*options, surroundings); });
}

void AddShow(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
    CLI::App* command =
        app.add_subcommand("show", "Show what a user's database holds and how far the service has read");
    const auto options = std::make_shared<ShowOptions>();
    AddDatabaseOptions(*command, options->database, true);
    command->footer("Comparing the position with the change journal needs an administrator's rights.");
    command->callback([options, surroundings, &exitCode] { exitCode = Show(*options, surroundings); });
}

void AddDoctor(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
    CLI::App* command = app.add_subcommand("doctor", "Look for what is wrong and say what to do about it");
    const auto options = std::make_shared<DoctorOptions>();
    AddDatabaseOptions(*command, options->database, false);
    command->add_option("--folder", options->folder, "The listened folder, as in the start request");
    command->add_option("--timeout", options->timeoutSeconds, "How long to wait for the service, in seconds")
        ->check(CLI::Range(std::uint32_t{1}, kMaxTimeoutSeconds))
        ->capture_default_str();
    command->footer(
        "It changes nothing. Without --folder the volume and its change journal are not looked at, without --user and\n"
        "--database the database is not. The journal can be looked at only with an administrator's rights.");
    command->callback([options, surroundings, &exitCode] { exitCode = Doctor(*options, surroundings); });
}

void AddExplain(CLI::App& app, const Surroundings& surroundings, int& exitCode) {
    CLI::App* command = app.add_subcommand(
        "explain", "Tell what the service did with a file's changes, step by step, from its sync log");
    const auto options = std::make_shared<ExplainOptions>();
    command->add_option("path", options->path, "The file or directory: relative to the listened folder, or full")
        ->required();
    command->add_option("--folder", options->folder, "The listened folder, when the path is a full one");
    command->add_option("--batches", options->batches, "How many of the last batches that concern it")
        ->check(CLI::Range(1, 10000))
        ->capture_default_str();
    command->add_option("--frn", options->frn, "Only the file with this reference number, under whatever name");
    command->add_option("--logs", options->logFolder, "Another log folder than the service's own");
    command->footer("The sync log obscures names; files whose names look the same there are told of together.");
    command->callback([options, surroundings, &exitCode] { exitCode = ExplainPath(*options, surroundings); });
}

}  // namespace

int RunClient(const std::vector<std::string>& arguments, const Surroundings& surroundings) {
    CLI::App app("Drives TaviLumbraService, shows what it records, and finds out what is wrong.", "TaviListenClient");
    app.footer(kFooter);
    app.set_version_flag("--version", TAVI_VERSION);
    app.require_subcommand(1);
    app.allow_windows_style_options(false);  // a path may begin with a slash
    int exitCode = kExitDone;
    AddStart(app, surroundings, exitCode);
    AddFinish(app, surroundings, exitCode);
    AddStatus(app, surroundings, exitCode);
    AddWatch(app, surroundings, exitCode);
    AddShow(app, surroundings, exitCode);
    AddDoctor(app, surroundings, exitCode);
    AddExplain(app, surroundings, exitCode);
    try {
        // The library takes them last first.
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& stop) {
        const bool helped = app.exit(stop, surroundings.out, surroundings.err) == 0;
        return helped ? kExitDone : kExitUsage;
    }
    return exitCode;
}

}  // namespace tavi::client

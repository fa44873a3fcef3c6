#include <ostream>

#include "change_lines.h"
#include "commands/commands.h"
#include "commands/read_problem.h"
#include "tavi_client/change_follower.h"
#include "tavi_client/database_path.h"

namespace tavi::client {

namespace {

constexpr std::size_t kPage = 1000;
constexpr std::uint32_t kPause = 500;  // milliseconds; the service stores at most that often
// A database that is being deleted or made anew cannot be read for a moment in several ways.
constexpr int kFailuresToBear = 20;

bool WantsColour(const WatchOptions& options, const Surroundings& surroundings) {
    return options.colour == Colour::kAlways || (options.colour == Colour::kAuto && surroundings.outIsTerminal);
}

class Watcher {
public:
    Watcher(const WatchOptions& options, const Surroundings& surroundings)
        : options_(options),
          surroundings_(surroundings),
          style_(WantsColour(options, surroundings) ? LineStyle::kColoured : LineStyle::kPlain),
          path_(DatabasePath(options.database.baseFolder, options.database.userId)),
          follower_(path_, options.once && !options.after ? 0 : options.after) {}

    int Run() {
        const std::uint64_t end = surroundings_.pipe.NowMilliseconds() + options_.seconds * std::uint64_t{1000};
        for (;;) {
            const ChangePage page = follower_.Next(kPage);
            Print(page);
            failures_ = page.state == ReadState::kFailed ? failures_ + 1 : 0;
            if (failures_ > kFailuresToBear || (options_.once && page.state != ReadState::kRead)) {
                return kExitUnreadable;
            }
            if (page.changes.size() == kPage) {
                continue;  // there may be more right now
            }
            if (options_.once || (options_.seconds != 0 && surroundings_.pipe.NowMilliseconds() >= end)) {
                return kExitDone;
            }
            surroundings_.pipe.Sleep(kPause);
        }
    }

private:
    void Print(const ChangePage& page) {
        if (page.state != told_ && page.state != ReadState::kRead) {
            surroundings_.err << DescribeReadProblem(page.state, page.code, path_)
                              << (options_.once ? ".\n" : ". Waiting for it.\n");
        }
        told_ = page.state;
        for (const Change& change : page.changes) {
            surroundings_.out << (options_.json ? FormatChangeJson(change) : FormatChangeLine(change, style_)) << '\n';
        }
        surroundings_.out.flush();
    }

    const WatchOptions& options_;
    const Surroundings& surroundings_;
    LineStyle style_;
    std::string path_;
    ChangeFollower follower_;
    ReadState told_ = ReadState::kRead;  // a problem is told of once
    int failures_ = 0;                   // in a row
};

}  // namespace

int Watch(const WatchOptions& options, const Surroundings& surroundings) {
    return Watcher(options, surroundings).Run();
}

}  // namespace tavi::client

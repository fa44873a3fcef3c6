#include <deque>
#include <ostream>

#include "change_lines.h"
#include "commands/commands.h"
#include "imports/file_helper.h"
#include "imports/file_log.h"
#include "imports/type_convert.h"
#include "machine/log_files.h"
#include "platform/platform.h"
#include "records/names/lower_case.h"
#include "story/batch_story.h"

namespace tavi::client {

namespace {

constexpr std::string_view kSeparators = "\\/";

std::u16string Folded(std::string_view text) {
    return records::ToLower(TypeConvert::UTF8ToUnicode(text));
}

std::string WithBackslashes(std::string path) {
    for (char& c : path) {
        c = c == '/' ? '\\' : c;
    }
    while (path.size() > 1 && path.ends_with('\\')) {
        path.pop_back();
    }
    return path;
}

bool IsFull(std::string_view path) {
    return path.size() > 1 && path[1] == ':';
}

// Relative to the listened folder; empty when it does not lie in it.
std::string RelativePath(const std::string& path, const std::string& folder) {
    if (!IsFull(path)) {
        return path.substr(std::min(path.find_first_not_of(kSeparators), path.size()));
    }
    const std::u16string foldedFolder = Folded(folder + "\\");
    if (folder.empty() || !Folded(path).starts_with(foldedFolder)) {
        return {};
    }
    return path.substr(folder.size() + 1);
}

class Explanation {
public:
    Explanation(const ExplainOptions& options, const Surroundings& surroundings)
        : options_(options), surroundings_(surroundings), platform_(*surroundings.platform) {
        const std::string path = WithBackslashes(options.path);
        relativePath_ = RelativePath(path, WithBackslashes(options.folder));
        fullPath_ = IsFull(path)             ? path
                    : options.folder.empty() ? std::string()
                                             : WithBackslashes(options.folder) + '\\' + relativePath_;
    }

    int Run() {
        if (relativePath_.empty()) {
            surroundings_.err << "explain: give the path relative to the listened folder, or the folder too "
                                 "(--folder) when it is a full one.\n";
            return kExitUsage;
        }
        const std::u16string folder = options_.logFolder.empty() ? Drive::ServiceLogFolder(platform_)
                                                                 : TypeConvert::UTF8ToUnicode(options_.logFolder);
        if (!ReadLogs(folder)) {
            surroundings_.err << "There is no sync log in " << TypeConvert::UnicodeToUTF8(folder)
                              << ", or it cannot be read.\n";
            return kExitUnreadable;
        }
        return Report();
    }

private:
    bool ReadLogs(const std::u16string& folder) {
        StorySubject subject{ObscuredName(relativePath_), std::nullopt};
        if (options_.frn) {
            subject.frn = std::to_string(*options_.frn);
        }
        SyncLogReader reader([&](const LoggedBatch& batch) { Take(batch, subject); });
        bool read = false;
        for (const std::u16string& part : PartsOfLog(platform_, folder, u"sync")) {
            if (const auto text = ReadAll(platform_, part)) {
                reader.Read(*text);
                read = true;
            }
        }
        reader.Finish();
        return read;
    }

    void Take(const LoggedBatch& batch, const StorySubject& subject) {
        oldest_ = oldest_.empty() ? batch.time : oldest_;
        if (auto story = TellStory(batch, subject)) {
            frns_.insert(story->frns.begin(), story->frns.end());
            stories_.push_back(*std::move(story));
            if (stories_.size() > options_.batches) {
                stories_.pop_front();
            }
        }
    }

    int Report() {
        std::ostream& out = surroundings_.out;
        if (stories_.empty()) {
            out << "The sync log"
                << (oldest_.empty() ? " is empty" : ", which begins at " + oldest_ + ", holds nothing about it")
                << ". Either the change is older, or no listening task was running and none has caught up since, or "
                   "the "
                   "file is not in the listened folder.\n";
            return kExitFailed;
        }
        for (const BatchStory& story : stories_) {
            for (const std::string& line : story.lines) {
                out << WithoutControls(line) << '\n';
            }
        }
        ReportNumbers();
        return kExitDone;
    }

    void ReportNumbers() {
        std::ostream& out = surroundings_.out;
        if (frns_.size() > 1) {
            out << "The log obscures names, and more than one file looks like this one there (a save may also have "
                   "replaced it). Tell them apart with --frn:";
            for (const std::string& frn : frns_) {
                out << ' ' << frn;
            }
            out << ".\n";
        }
        const std::uint64_t now =
            fullPath_.empty() ? 0 : FileHepler::GetFrnByPath(platform_, TypeConvert::UTF8ToUnicode(fullPath_));
        if (now != 0) {
            out << "The file has number " << now << " now.\n";
        }
    }

    const ExplainOptions& options_;
    const Surroundings& surroundings_;
    platform::Platform& platform_;
    std::string relativePath_;
    std::string fullPath_;  // empty when the folder is not known
    std::string oldest_;    // time of the oldest batch in the log
    std::deque<BatchStory> stories_;
    std::set<std::string> frns_;
};

}  // namespace

int ExplainPath(const ExplainOptions& options, const Surroundings& surroundings) {
    return Explanation(options, surroundings).Run();
}

}  // namespace tavi::client

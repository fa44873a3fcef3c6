#include "lives/plan.h"

#include <algorithm>
#include <array>
#include <random>
#include <utility>

#include "sim/core.h"

namespace tavi::lives {

namespace {

using Random = std::mt19937_64;

constexpr std::array<const char16_t*, 27> kNames = {
    u"plan.docx", u"budget.xlsx",  u"talk.pptx",        u"drawing.dwg", u"model.mlx",        u"app.mlapp",
    u"notes.txt", u"photo.jpg",    u"data.db",          u"script.js",   u"archive.7z",       u"README",
    u"UPPER.TXT", u"Ünïcode.txt",  u"отчёт.docx",       u"報告書.xlsx", u"\xD83D\xDE00.txt", u"\u212A.txt",
    u"İ.txt",     u"with blank.c", u"two.dots.txt",     u"v1.igbak",    u"a1b2c3d4.png",     u"movie.aep",
    u"map.mmap",  u"song.mp3",     u"odd\xD800unit.txt"};
// Of programs that have rules of their own, two of which hold records back.
constexpr std::array<const char16_t*, 4> kSpecialNames = {u"app.mlapp", u"model.mlx", u"drawing.dwg", u"v1.igbak"};
constexpr std::array<const char16_t*, 10> kNoiseNames = {
    u"~$plan.docx", u"x.tmp",    u"~WRL0001.tmp", u"movie.crdownload", u"desktop.ini",
    u"ab12cd34",    u"link.lnk", u"plan.bak",     u"base.db.bak",      u"part.baiduyun.uploading.cfg"};
constexpr std::array<const char16_t*, 5> kDirectories = {u"", u"docs\\", u"docs\\deep\\", u"Bilder\\", u"данные\\"};

struct Weighted {
    Act act;
    unsigned weight;
};

constexpr std::array<Weighted, 28> kSteadyWork = {{
    {Act::kCreate, 10},       {Act::kCreateEmpty, 4}, {Act::kWrite, 12},        {Act::kOverwrite, 4},
    {Act::kTruncate, 6},      {Act::kNoise, 4},       {Act::kSaveByReplace, 6}, {Act::kSaveByBackup, 6},
    {Act::kSaveBesideBak, 4}, {Act::kSaveMatlab, 5},  {Act::kDownload, 4},      {Act::kLockFile, 3},
    {Act::kRename, 10},       {Act::kRenameCase, 1},  {Act::kSwap, 3},          {Act::kChain, 4},
    {Act::kRemove, 7},        {Act::kRecycle, 2},     {Act::kMoveOut, 3},       {Act::kMoveIn, 4},
    {Act::kMakeDirectory, 3}, {Act::kHide, 2},        {Act::kShow, 2},          {Act::kHold, 4},
    {Act::kLetGo, 4},         {Act::kTouch, 2},       {Act::kPlaceholder, 2},   {Act::kHydrate, 2},
}};
constexpr std::array<Weighted, 6> kUnsteadyWork = {{{Act::kRenameDirectory, 4},
                                                    {Act::kRemoveTree, 2},
                                                    {Act::kRecycleDirectory, 2},
                                                    {Act::kMoveDirectoryIn, 4},
                                                    {Act::kMoveDirectoryOut, 2},
                                                    {Act::kReleaseData, 1}}};
constexpr std::array<Weighted, 6> kRicherWork = {{{Act::kWriteStream, 3},
                                                  {Act::kLink, 2},
                                                  {Act::kShellOpen, 2},
                                                  {Act::kScratch, 2},
                                                  {Act::kRemoveHeld, 4},
                                                  {Act::kHoldDirectory, 4}}};
constexpr std::array<Weighted, 2> kRicherUnsteadyWork = {{{Act::kRemoveTreeByHandle, 2}, {Act::kEmptyBin, 2}}};
constexpr std::array<Weighted, 8> kControl = {{{Act::kStop, 3},
                                               {Act::kFinish, 3},
                                               {Act::kStart, 2},
                                               {Act::kSwitchUser, 1},
                                               {Act::kSwitchFolder, 1},
                                               {Act::kStatus, 1},
                                               {Act::kLook, 4},
                                               {Act::kTake, 4}}};
constexpr std::array<Weighted, 11> kMishaps = {{{Act::kKill, 3},
                                                {Act::kKillAtCall, 10},
                                                {Act::kPowerLoss, 3},
                                                {Act::kLockDatabase, 3},
                                                {Act::kFullDisk, 3},
                                                {Act::kSqliteFails, 6},
                                                {Act::kReadFails, 2},
                                                {Act::kTrimJournal, 1},
                                                {Act::kDeleteJournal, 1},
                                                {Act::kRecreateJournal, 1},
                                                {Act::kClockBack, 1}}};

struct SqliteFault {
    const char16_t* call;
    const char16_t* code;
};
constexpr std::array<SqliteFault, 8> kSqliteFaults = {{{u"Sqlite.Exec", u"5"},
                                                       {u"Sqlite.Exec", u"10"},
                                                       {u"Sqlite.Exec", u"13"},
                                                       {u"Sqlite.OpenV2", u"14"},
                                                       {u"Sqlite.Step", u"5"},
                                                       {u"Sqlite.Step", u"13"},
                                                       {u"Sqlite.PrepareV2", u"5"},
                                                       {u"Sqlite.BindText16", u"7"}}};

template <class Table>
Act Pick(Random& random, const Table& table) {
    unsigned total = 0;
    for (const Weighted& entry : table) {
        total += entry.weight;
    }
    auto drawn = static_cast<unsigned>(random() % total);
    for (const Weighted& entry : table) {
        if (drawn < entry.weight) {
            return entry.act;
        }
        drawn -= entry.weight;
    }
    return table.front().act;
}

// A life's own few files and directories, so that its events meet each other.
class Maker {
public:
    Maker(std::uint64_t seed, PlanOptions options) : random_(seed), richer_(~seed), options_(options) {
        plan_.seed = seed;
        plan_.everyThreadAtOnce = options.everyThreadAtOnce;
    }

    Plan Make() {
        plan_.intervalSeconds = static_cast<std::uint32_t>(Any(8) < 3 ? 0 : Any(3) + 1);
        plan_.readLimit = Any(3) == 0 ? 700 + Any(2000) : 0;
        plan_.steady = Any(10) < 7;
        cloud_ = Any(2) == 0;
        special_ = Any(6) == 0;
        constexpr std::array<std::int64_t, 5> kQuanta = {1, 10, 50, 250, 500};
        quantum_ = kQuanta.at(Any(kQuanta.size()));
        const std::size_t paths = 2 + Any(6);
        for (std::size_t i = 0; i < paths; ++i) {
            paths_.push_back(NewPath());
        }
        const std::size_t count = 3 + Any(22);
        while (plan_.events.size() < count) {
            AddEvent();
        }
        if (!options_.plainVolume) {
            Enrich();
        }
        return std::move(plan_);
    }

private:
    std::size_t Any(std::size_t below) { return static_cast<std::size_t>(random_() % below); }

    std::u16string NewPath() {
        std::u16string path = kFolders[Any(12) == 0 ? 1 : 0];
        path += u"\\";
        path += kDirectories.at(Any(3) == 0 ? Any(kDirectories.size()) : 0);
        const bool noise = Any(6) == 0;
        path += noise      ? kNoiseNames.at(Any(kNoiseNames.size()))
                : special_ ? kSpecialNames.at(Any(kSpecialNames.size()))
                           : kNames.at(Any(kNames.size()));
        return path;
    }
    const std::u16string& SomePath() { return paths_.at(Any(paths_.size())); }
    std::u16string SomeDirectory() {
        const std::u16string folder = kFolders[Any(12) == 0 ? 1 : 0];
        constexpr std::array<const char16_t*, 6> kSome = {u"docs", u"docs\\deep", u"Bilder", u"данные", u"docs2", u"n"};
        return folder + u"\\" + kSome.at(Any(kSome.size()));
    }

    // Most things follow each other quickly; some after a pause that ends a batch.
    std::int64_t Pause() {
        const std::size_t kind = Any(20);
        const std::size_t longest = kind < 7 ? 4 : kind < 16 ? 300 : kind < 19 ? 2000 : 8000;
        return static_cast<std::int64_t>(Any(longest)) / quantum_ * quantum_;
    }

    void AddEvent() {
        Event event;
        event.pause = Pause();
        const std::size_t kind = Any(100);
        if (options_.mishaps && kind < 14) {
            FillMishap(event);
            if (special_ && event.act == Act::kSqliteFails) {
                // The save whose batch this hits.
                plan_.events.push_back({std::exchange(event.pause, 0), Act::kSaveByBackup, SomePath(), {}, Any(1000)});
            }
        } else if (kind < 26) {
            event.act = Pick(random_, kControl);
            event.number = Any(2);
        } else if (!plan_.steady && kind < 40) {
            event.act = Pick(random_, kUnsteadyWork);
            event.path = event.act == Act::kReleaseData ? SomePath() : SomeDirectory();
            event.other = SomeDirectory();
            event.number = Any(1000);
        } else {
            event.act = Allowed(Pick(random_, kSteadyWork));
            event.path = event.act == Act::kMakeDirectory ? SomeDirectory() : SomePath();
            event.other = SomePath();
            event.number = event.act == Act::kWrite ? 1 + Any(4) : Any(1000);
        }
        plan_.events.push_back(std::move(event));
    }

    std::size_t AnyRicher(std::size_t below) { return static_cast<std::size_t>(richer_() % below); }

    // What the volume is like, and events between the others. With random numbers of its own: a seed's plan is the one
    // that it was before, with these in it.
    void Enrich() {
        plan_.coarseClock = AnyRicher(4) != 0;
        plan_.mixedCaseBin = AnyRicher(2) == 0;
        plan_.ownWrites = AnyRicher(3) == 0;
        plan_.journalSize = AnyRicher(8) == 0 ? std::uint64_t{32768} << AnyRicher(2) : 0;
        for (std::size_t count = AnyRicher(6); count > 0; --count) {
            const auto at = plan_.events.begin() + static_cast<std::ptrdiff_t>(AnyRicher(plan_.events.size() + 1));
            plan_.events.insert(at, RicherEvent());
        }
        if (options_.mishaps && AnyRicher(6) == 0) {
            const auto at = plan_.events.begin() + static_cast<std::ptrdiff_t>(AnyRicher(plan_.events.size() + 1));
            plan_.events.insert(at, {0, Act::kDumpFails, {}, {}, 1 + AnyRicher(8)});
        }
        if (options_.mishaps && plan_.journalSize != 0 && AnyRicher(2) == 0) {
            const auto at = plan_.events.begin() + static_cast<std::ptrdiff_t>(AnyRicher(plan_.events.size() + 1));
            plan_.events.insert(at, {static_cast<std::int64_t>(AnyRicher(600)), Act::kFlood, {}, {}, 0});
        }
    }

    Event RicherEvent() {
        Event event;
        event.pause = static_cast<std::int64_t>(AnyRicher(AnyRicher(3) == 0 ? 2000 : 40)) / quantum_ * quantum_;
        const bool moves = !plan_.steady && AnyRicher(3) == 0;
        event.act = moves ? Pick(richer_, kRicherUnsteadyWork) : Pick(richer_, kRicherWork);
        event.path = paths_.at(AnyRicher(paths_.size()));
        event.other = paths_.at(AnyRicher(paths_.size()));
        if (event.act == Act::kHoldDirectory || event.act == Act::kRemoveTreeByHandle) {
            event.path = event.path.substr(0, event.path.rfind(u'\\'));
        }
        event.number = AnyRicher(1000);
        return event;
    }

    // Whether a hidden file is a placeholder is asked when its record is dealt with, not when it was written: where
    // both occur, a life that was held up may see something else.
    Act Allowed(Act act) const {
        const bool hides = act == Act::kHide || act == Act::kShow;
        const bool cloud = act == Act::kPlaceholder || act == Act::kHydrate;
        return plan_.steady && ((hides && cloud_) || (cloud && !cloud_)) ? Act::kWrite : act;
    }

    void FillMishap(Event& event) {
        event.act = special_ && Any(2) == 0 ? Act::kSqliteFails : Pick(random_, kMishaps);
        const bool dies = event.act == Act::kKill || event.act == Act::kKillAtCall || event.act == Act::kPowerLoss;
        if (dies && options_.everyThreadAtOnce) {
            event.act = Act::kStop;  // what a file holds while another thread writes to it is anybody's guess
        }
        switch (event.act) {
            case Act::kKillAtCall:
            case Act::kPowerLoss:
                event.number = 1 + Any(Any(2) == 0 ? 60 : 600);
                break;
            case Act::kLockDatabase:
            case Act::kFullDisk:
                event.number = 100 + Any(Any(6) == 0 ? 20000 : 1500);
                break;
            case Act::kSqliteFails: {
                const SqliteFault& fault = kSqliteFaults.at(Any(kSqliteFaults.size()));
                event.path = fault.call;
                event.other = fault.code;
                event.number = Any(special_ ? 2 : 3) == 0 ? 10 + Any(50) : 1 + Any(6);
                break;
            }
            case Act::kTrimJournal:
                event.number = 50 + Any(51);
                break;
            case Act::kClockBack:
                event.number = 3600000 + Any(86400000);
                break;
            default:
                event.number = Any(2);
        }
    }

    Random random_;
    Random richer_;
    PlanOptions options_;
    Plan plan_;
    std::int64_t quantum_ = 1;
    bool cloud_ = false;
    bool special_ = false;  // only names of programs with rules of their own, and saves that fail
    std::vector<std::u16string> paths_;
};

std::string AfterPause(std::int64_t pause) {
    return pause == 0 ? "" : "after " + std::to_string(pause) + " ms, ";
}

}  // namespace

Plan MakePlan(std::uint64_t seed, PlanOptions options) {
    return Maker(seed, options).Make();
}

bool IsMishap(Act act) {
    return act >= Act::kKill;
}

std::string Narrow(std::u16string_view text) {
    return sim::Narrow(text);
}

std::string Describe(const Event& event) {
    const std::string path = Narrow(event.path);
    const std::string other = Narrow(event.other);
    const std::string number = std::to_string(event.number);
    const auto text = [&]() -> std::string {
        switch (event.act) {
            case Act::kCreate:
                return "a program creates " + path;
            case Act::kCreateEmpty:
                return "a program creates " + path + ", empty";
            case Act::kWrite:
                return "a program writes " + number + " times to " + path;
            case Act::kOverwrite:
                return "a program overwrites " + path;
            case Act::kTruncate:
                return "an editor saves " + path + " in place";
            case Act::kSaveByReplace:
                return "an editor saves " + path + " through a temporary file";
            case Act::kSaveByBackup:
                return "an office program saves " + path;
            case Act::kSaveBesideBak:
                return "an editor saves " + path + " and keeps the old one as .bak";
            case Act::kSaveMatlab:
                return "a program renames " + path + " to a temporary name and creates it anew";
            case Act::kDownload:
                return "a browser downloads " + path;
            case Act::kLockFile:
                return "an office program opens " + path + " and closes it";
            case Act::kRename:
                return path + " is renamed to " + other;
            case Act::kRenameCase:
                return path + " changes the case of its name";
            case Act::kSwap:
                return path + " and " + other + " change names";
            case Act::kChain:
                return path + " is renamed, and again, to " + other;
            case Act::kRemove:
                return path + " is deleted";
            case Act::kRecycle:
                return path + " goes to the recycle bin";
            case Act::kMoveOut:
                return path + " is moved out of the folder";
            case Act::kMoveIn:
                return "a file is moved into the folder as " + path;
            case Act::kMakeDirectory:
                return "the directory " + path + " is made";
            case Act::kHide:
                return path + " is hidden";
            case Act::kShow:
                return path + " is made visible";
            case Act::kHold:
                return "a program writes to " + path + " and keeps it open";
            case Act::kLetGo:
                return "the programs close their files";
            case Act::kTouch:
                return "attributes of " + path + " change";
            case Act::kPlaceholder:
                return path + " arrives as a placeholder";
            case Act::kHydrate:
                return "the placeholder " + path + " gets its data";
            case Act::kReleaseData:
                return "the placeholder " + path + " gives its data back";
            case Act::kNoise:
                return "a program writes outside the folder";
            case Act::kWriteStream:
                return "a browser marks " + path;
            case Act::kLink:
                return path + " gets one more name, " + other;
            case Act::kShellOpen:
                return "the shell opens " + path;
            case Act::kScratch:
                return "a program makes " + path + " and deletes it through its own handle";
            case Act::kRemoveHeld:
                return path + " is deleted while a program holds it open";
            case Act::kHoldDirectory:
                return "a program makes " + path + " its current directory";
            case Act::kRenameDirectory:
                return "the directory " + path + " is renamed to " + other;
            case Act::kRemoveTree:
                return "the directory " + path + " is deleted with all that is in it";
            case Act::kRecycleDirectory:
                return "the directory " + path + " goes to the recycle bin";
            case Act::kMoveDirectoryIn:
                return "a directory with files is moved into the folder as " + path;
            case Act::kMoveDirectoryOut:
                return "the directory " + path + " is moved out of the folder";
            case Act::kRemoveTreeByHandle:
                return "the directory " + path + " is deleted with all that is in it, through handles";
            case Act::kEmptyBin:
                return "the recycle bin is emptied";
            case Act::kStop:
                return "the service is stopped";
            case Act::kFinish:
                return "the client finishes the task";
            case Act::kStart:
                return "the client starts the task";
            case Act::kSwitchUser:
                return "the client starts a task for user " + number;
            case Act::kSwitchFolder:
                return "the client starts a task for the folder " + Narrow(kFolders[event.number % 2]);
            case Act::kStatus:
                return "the client asks for the status";
            case Act::kLook:
                return "another reader looks into the database";
            case Act::kTake:
                return "the client takes the rows";
            case Act::kKill:
                return "the process dies";
            case Act::kKillAtCall:
                return "the process will die at its system call number " + number + " from here";
            case Act::kPowerLoss:
                return "the machine will lose power at the process's system call number " + number + " from here";
            case Act::kLockDatabase:
                return "another program locks the database for " + number + " ms";
            case Act::kFullDisk:
                return "the disk is full for " + number + " ms";
            case Act::kSqliteFails:
                return "the next " + number + " calls of " + path + " fail with result " + other;
            case Act::kReadFails:
                return "reading the journal fails for 300 ms";
            case Act::kTrimJournal:
                return "the journal loses its oldest " + number + " percent";
            case Act::kDeleteJournal:
                return "the journal is deleted";
            case Act::kRecreateJournal:
                return "the journal is deleted and created again";
            case Act::kClockBack:
                return "the clock is set back by " + number + " ms";
            case Act::kDumpFails:
                return "the next " + number + " pieces of a dump find no memory";
            case Act::kFlood:
                return "a program writes until the journal has lost all that it held";
        }
        return "?";
    };
    return AfterPause(event.pause) + text();
}

}  // namespace tavi::lives

// A life of the service as a plan: what people and programs do on the disk, what is asked of the service, and what goes
// wrong, one event after the other. A plan is made from a seed or from a longer plan with events left out; lived twice,
// it goes the same way.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tavi::lives {

enum class Act {
    // Files: `path`, and `other` where there are two; paths are absolute. What is needed and missing is made first.
    kCreate,         // a file with contents
    kCreateEmpty,    //
    kWrite,          // `number` writes with the file held open
    kOverwrite,      //
    kTruncate,       // an editor's save in place
    kSaveByReplace,  // a new file with a temporary name replaces the old one
    kSaveByBackup,   // office: the old file is renamed away, the new one renamed in, the old one deleted
    kSaveBesideBak,  // the old file stays as .bak, the new one is created
    kSaveMatlab,     // renamed to a temporary name, then created anew
    kDownload,       // grows under a download's name, then gets its own
    kLockFile,       // an office program's owner file comes and goes
    kRename,         // path becomes other; an existing other is replaced
    kRenameCase,     // only the case of the name changes
    kSwap,           // path and other change names through a third one
    kChain,          // renamed twice in a row: path to a name between to other
    kRemove,         //
    kRecycle,        //
    kMoveOut,        // to C:\Elsewhere
    kMoveIn,         // made in C:\Elsewhere and moved to path
    kMakeDirectory,  //
    kHide,           //
    kShow,           //
    kHold,           // opened and written to, and left open
    kLetGo,          // all held files are closed, in the order they were opened
    kTouch,          // the reasons in `number`
    kPlaceholder,    // a cloud file arrives without its data
    kHydrate,        // its data arrive through the client's temporary file
    kReleaseData,    // and go again
    kNoise,          // something outside the folder
    kWriteStream,    // a named stream, as a browser marks what it has downloaded
    kLink,           // other becomes one more name of path
    kShellOpen,      // the shell opens it: object ids for the file, its directory and the root
    kScratch,        // a program's own file, deleted through the handle that made it
    kRemoveHeld,     // deleted by one program while another one holds it open
    kHoldDirectory,  // a program has the directory as its current one
    // Directories: these make a life unsteady (see Plan::steady).
    kRenameDirectory,
    kRemoveTree,
    kRecycleDirectory,
    kMoveDirectoryIn,   // with files in it
    kMoveDirectoryOut,  //
    kRemoveTreeByHandle,
    kEmptyBin,
    // The service and its client.
    kStop,          // by the service control manager
    kFinish,        // the client ends the task
    kStart,         // the client starts it again, with the process if need be
    kSwitchUser,    // to user `number`
    kSwitchFolder,  // to folder `number`
    kStatus,        //
    kLook,          // another reader opens the database
    kTake,          // the client deals with all rows and deletes them, if everything that happened is stored
    // Mishaps.
    kKill,          // the process dies now
    kKillAtCall,    // at its `number`-th system call from now
    kPowerLoss,     // the machine loses power at the process's `number`-th system call from now
    kLockDatabase,  // another program holds the database's write lock for `number` ms
    kFullDisk,      // for `number` ms
    kSqliteFails,   // the next `number` calls of the kind named by `path` fail with the code in `other`
    kReadFails,     // reading the journal fails for 300 ms
    kTrimJournal,   // the oldest `number` percent of the journal are gone
    kDeleteJournal,
    kRecreateJournal,
    kClockBack,  // by `number` ms
    kDumpFails,  // the next `number` pieces of a dump for the log find no memory
    kFlood,      // a program outside the folder writes until everything that the journal held is gone
};

struct Event {
    std::int64_t pause = 0;  // virtual milliseconds since the event before
    Act act = Act::kCreate;
    std::u16string path;
    std::u16string other;
    std::uint64_t number = 0;
};

struct Plan {
    std::uint64_t seed = 0;
    std::uint32_t intervalSeconds = 1;  // recordSplitInterval of every start request
    std::uint64_t readLimit = 0;        // bytes per read of the journal, 0: as many as fit
    bool steady = true;                 // no directory moves, vanishes or arrives with contents
    bool everyThreadAtOnce = false;     // for ThreadSanitizer; not replayed exactly
    // How this volume is.
    bool coarseClock = false;       // stamps move in steps of 15.6 ms
    bool mixedCaseBin = false;      // the recycle bin is "$Recycle.Bin"
    bool ownWrites = false;         // database and log lie on the volume: the service reads of its own writing
    std::uint64_t journalSize = 0;  // in bytes, 0: larger than any life
    // What the requests name instead of the first folder, for a folder named otherwise; empty: as it is.
    std::u16string listenAs;
    std::vector<Event> events;
};

inline constexpr const char16_t* kFolders[] = {u"C:\\Sync", u"C:\\Other"};

struct PlanOptions {
    bool mishaps = true;
    bool everyThreadAtOnce = false;
    bool plainVolume = false;  // nothing of what makes a volume richer than its files
};

Plan MakePlan(std::uint64_t seed, PlanOptions options = {});

bool IsMishap(Act act);
// One line in plain words.
std::string Describe(const Event& event);
std::string Narrow(std::u16string_view text);

}  // namespace tavi::lives

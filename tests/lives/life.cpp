#include "lives/life.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "ipc/client_dispatch.h"
#include "listen/start_handler.h"
#include "lives/judges.h"
#include "lives/stretches.h"
#include "lives/world.h"

namespace tavi::lives {

namespace {

constexpr std::int64_t kQuickStopMs = 3000;

class Life {
public:
    explicit Life(const Plan& plan)
        : plan_(plan), world_(plan), judges_(plan, world_.truth(), report_), stretches_(world_, report_) {}

    Report Run();

private:
    void Perform(const Event& event);
    void PerformControl(const Event& event);
    void PerformMishap(const Event& event);
    void ComeUpAgain();
    void NoticeDeath();
    void StartTask();
    std::optional<std::uint32_t> AsTheClientTakesIt(std::optional<std::uint32_t> reply);
    void JudgeStart(std::optional<std::uint32_t> reply, const std::optional<Image>& before);
    void JudgeContinuation(std::uint32_t taken, const std::optional<Image>& before);
    void Take();
    void Stop();
    void JournalBroken();
    void ComeToRest();
    void End();

    const Plan& plan_;
    Report report_;
    World world_;
    Judges judges_;
    std::size_t user_ = 0;
    std::size_t folder_ = 0;
    Stretches stretches_;
    bool listening_ = false;  // a start was answered well and nothing has ended the task since
    bool mustGoOn_ = false;   // and nothing happened that may end it
    std::int64_t startedAt_ = 0;
    int eventsWhileDown_ = 0;
    int positionsGivenUp_ = 0;
    bool recreated_ = false;  // the journal, at any time
    // Of each user's last start, as the client remembers it: it was answered with 5, or not at all.
    std::array<bool, Stretches::kUsers> cutShort_ = {};
};

void Life::Take() {
    world_.Sleep(listening_ ? plan_.intervalSeconds * 1000 + 1500 : 0);
    if (world_.dead()) {
        NoticeDeath();
    }
    stretches_.Take(user_);
}

void Life::StartTask() {
    if (world_.dead()) {
        NoticeDeath();
    }
    if (!world_.processStarted()) {
        world_.StartProcess();
    }
    if (world_.dead()) {
        return;
    }
    ++report_.starts;
    const auto before = lives::Look(world_.DatabaseFile(user_));
    const bool troubled = world_.inTrouble();
    const bool ran = listening_;
    const auto reply = world_.AskStart(user_, folder_);
    listening_ = reply && *reply < protocol::kReplyStartFailed;
    mustGoOn_ = listening_ && !troubled;
    startedAt_ = world_.machine().NowMilliseconds();
    // What is stored shows itself only once the machine is up again.
    const bool died = world_.dead();
    if (died) {
        ComeUpAgain();
    }
    JudgeStart(reply, ran ? std::nullopt : before);
    positionsGivenUp_ = world_.log().positionsGivenUp();
    if (died) {
        stretches_.LookAtAll();
    }
}

// What a client makes of a reply: after a start that was cut short, nobody knows what that one has already used up.
std::optional<std::uint32_t> Life::AsTheClientTakesIt(std::optional<std::uint32_t> reply) {
    const bool wasCutShort = std::exchange(cutShort_.at(user_), !reply || *reply == protocol::kReplyStartFailed);
    const bool saysNothing = reply && (*reply == protocol::kReplyContinues || *reply == protocol::kReplyTaskReplaced);
    return wasCutShort && saysNothing ? protocol::kReplyPositionExpired : reply;
}

void Life::JudgeStart(std::optional<std::uint32_t> reply, const std::optional<Image>& before) {
    if (reply) {
        report_.replies.push_back(*reply);
    }
    const bool cutShort = !reply || *reply == protocol::kReplyStartFailed;
    const std::optional<std::uint32_t> taken = AsTheClientTakesIt(reply);
    const StartWay way = world_.log().startWay();
    const bool cleared = world_.log().tablesCleared();
    const bool changedSomething = cleared || (way != StartWay::kNone && way != StartWay::kContinue);
    const bool saysNothing = taken && (*taken == protocol::kReplyContinues || *taken == protocol::kReplyTaskReplaced);
    if (cutShort) {
        if (changedSomething || stretches_.Current(user_) == nullptr) {
            stretches_.Interrupt(user_);
        }
        return;
    }
    if (saysNothing && stretches_.isInterrupted(user_)) {
        judges_.Find('b',
                     "reply " + std::to_string(*taken) + " after a start that was cut short had changed something");
    }
    if (saysNothing && way == StartWay::kContinue) {
        JudgeContinuation(*taken, before);
    }
    if (!saysNothing || changedSomething || stretches_.Current(user_) == nullptr) {
        const bool mayHoldOthers = stretches_.isInterrupted(user_);
        if (Stretch* begun = stretches_.Begin(user_, folder_)) {
            begun->cutShort = mayHoldOthers;
        }
    }
}

// The client hears that everything goes on where it was.
void Life::JudgeContinuation(std::uint32_t taken, const std::optional<Image>& before) {
    const Stretch* current = stretches_.Current(user_);
    const std::string answered = "reply " + std::to_string(taken) + " although ";
    // A task that ran until now may have stored another position than the one that was seen before; it may also have
    // given its position up.
    const bool valid = !before || (world_.journalActive() && before->position >= world_.journalFirst() &&
                                   before->position <= world_.journalNext());
    const bool another = current != nullptr && current->journal != world_.journalId();
    if (!valid) {
        judges_.Find('b', answered + "the position was lost");
    }
    if (!another && world_.log().positionsGivenUp() > positionsGivenUp_) {
        // Later on, too, a position from before the recreation may lie between two records of the new journal.
        judges_.Find('b', answered + "the task had given its position up",
                     recreated_ ? "journal-recreated-unnoticed" : "");
    }
    if (another) {
        judges_.Find('b', answered + "the journal is another one", "journal-recreated-unnoticed");
        stretches_.Begin(user_, folder_);
    }
}

void Life::ComeUpAgain() {
    ++report_.deaths;
    world_.Restart();
    listening_ = mustGoOn_ = false;
}

void Life::NoticeDeath() {
    ComeUpAgain();
    stretches_.LookAtAll();
}

void Life::Stop() {
    if (!world_.processStarted() || world_.dead()) {
        return;
    }
    const bool troubled = world_.inTrouble();
    const auto took = world_.Stop();
    listening_ = mustGoOn_ = false;
    if (!took) {
        return;
    }
    if (*took > kQuickStopMs && !troubled) {
        judges_.Find('g', "stopping took " + std::to_string(*took) + " ms");
    }
    for (const std::string& leak : world_.machine().leaks()) {
        judges_.Find('f', "left behind by the process: " + leak);
    }
}

void Life::JournalBroken() {
    stretches_.JournalBroken();
    mustGoOn_ = false;
}

void Life::PerformControl(const Event& event) {
    switch (event.act) {
        case Act::kStop:
            return Stop();
        case Act::kFinish:
            if (world_.processStarted() && !world_.dead()) {
                const auto reply = world_.AskFinish();
                listening_ = mustGoOn_ = false;
                if (reply && *reply != protocol::kReplyFinished) {
                    judges_.Find('g', "reply " + std::to_string(*reply) + " to a finish request");
                }
            }
            return;
        case Act::kStart:
            return StartTask();
        case Act::kSwitchUser:
            user_ = event.number % Stretches::kUsers;
            return StartTask();
        case Act::kSwitchFolder:
            folder_ = event.number % std::size(kFolders);
            return StartTask();
        case Act::kStatus:
            if (world_.processStarted() && !world_.dead()) {
                world_.AskStatus();
            }
            return;
        case Act::kTake:
            return Take();
        default:
            return stretches_.LookAtAll();
    }
}

void Life::PerformMishap(const Event& event) {
    constexpr std::uint64_t kBearableFailures = 30;
    constexpr std::int64_t kBearableFullDisk = 1000;
    constexpr std::int64_t kSettledMs = 2000;
    const bool settled = listening_ && world_.machine().NowMilliseconds() - startedAt_ > kSettledMs;
    switch (event.act) {
        case Act::kKill:
            if (world_.processStarted()) {
                world_.machine().Kill();
            }
            return;
        case Act::kKillAtCall:
            if (world_.processStarted()) {
                world_.machine().faults().KillAtCall(event.number);
            }
            return;
        case Act::kPowerLoss:
            if (world_.processStarted()) {
                ++report_.powerLosses;
                world_.LosePowerAtCall(event.number);
            }
            return;
        case Act::kLockDatabase:
            mustGoOn_ = mustGoOn_ && !world_.inTrouble() && settled;
            return world_.LockDatabase(user_, static_cast<std::int64_t>(event.number));
        case Act::kFullDisk:
            mustGoOn_ = mustGoOn_ && !world_.inTrouble() && settled && event.number <= kBearableFullDisk;
            return world_.FillDisk(static_cast<std::int64_t>(event.number));
        case Act::kSqliteFails:
            mustGoOn_ = mustGoOn_ && !world_.inTrouble() && settled && event.number <= kBearableFailures;
            return world_.FailSqlite(Narrow(event.path), static_cast<std::uint32_t>(std::stoul(Narrow(event.other))),
                                     event.number);
        case Act::kReadFails:
            // A read that fails looks like a quiet journal; only with a quiet time to wait for is that harmless.
            if (plan_.intervalSeconds > 0) {
                world_.FailReads(300);
            }
            return;
        case Act::kTrimJournal: {
            const std::int64_t first = world_.journalFirst();
            const std::int64_t span = world_.journalNext() - first;
            const std::int64_t to = first + span * static_cast<std::int64_t>(event.number) / 100;
            world_.volume().WithJournal([&](sim::EmulatedJournal& journal) { journal.TrimTo(to); });
            return JournalBroken();
        }
        case Act::kDeleteJournal:
        case Act::kRecreateJournal:
            world_.workload().LetGo();
            world_.volume().WithJournal([&](sim::EmulatedJournal& journal) {
                journal.behaviour().recreation = event.number % 2 == 0 ? sim::PositionAfterRecreation::kGoesOn
                                                                       : sim::PositionAfterRecreation::kRestarts;
                journal.Delete();
                if (event.act == Act::kRecreateJournal) {
                    journal.Create();
                }
            });
            world_.truth().JournalReplaced();
            recreated_ = true;
            return JournalBroken();
        case Act::kDumpFails:
            return world_.log().FailDumps(static_cast<int>(event.number));
        case Act::kFlood:
            return world_.FloodJournal();
        case Act::kClockBack: {
            auto& clock = world_.machine().clock();
            clock.SetNowUtc(clock.NowUtc() - event.number * 10000);
            return;
        }
        default:
            return;
    }
}

void Life::Perform(const Event& event) {
    world_.Sleep(event.pause);
    if (world_.dead()) {
        NoticeDeath();
    }
    if (!listening_ && ++eventsWhileDown_ > static_cast<int>(plan_.seed % 4)) {
        eventsWhileDown_ = 0;
        StartTask();
    }
    if (world_.workload().Perform(event)) {
        return;
    }
    if (IsMishap(event.act)) {
        PerformMishap(event);
    } else {
        PerformControl(event);
    }
}

// Until everything that happened is stored.
void Life::ComeToRest() {
    constexpr int kRounds = 60;
    for (int round = 0; round < kRounds; ++round) {
        world_.Sleep(plan_.intervalSeconds * 1000 + 1500);
        const auto image = lives::Look(world_.DatabaseFile(user_));
        if (image && world_.IsAtTheEnd(*image, folder_)) {
            return;
        }
    }
    judges_.Find('a', "the position never reaches the end of the journal");
}

void Life::End() {
    world_.EndTroubles();
    world_.workload().LetGo();
    if (world_.dead()) {
        NoticeDeath();
    }
    if (mustGoOn_) {
        world_.Sleep(2000);  // a task that has just been started does not count yet
    }
    if (mustGoOn_ && !world_.dead() && world_.AskStatus() != std::optional(protocol::kReplyJournalUsable)) {
        judges_.Find('g', "the task ended although it had to go on");
    }
    StartTask();
    if (!listening_) {
        judges_.Find('g', "the task cannot be started with everything in order");
        return;
    }
    ComeToRest();
    stretches_.LookAtAll();
    if (!stretches_.LookPatiently(user_)) {
        judges_.Find('e', "the database cannot be read at the end");
    }
    world_.AskFinish();
    world_.EndOwnWrites();
    world_.Sleep(10);  // until the client is let go
    if (world_.machine().OpenHandles() != world_.handlesWithoutTask()) {
        judges_.Find('f', "handles before and after a task: " + std::to_string(world_.handlesWithoutTask()) + ", " +
                              std::to_string(world_.machine().OpenHandles()));
    }
    Stop();
}

Report Life::Run() {
    world_.machine().OnDeadlock([this](const std::string& text) { judges_.Find('g', text); });
    StartTask();
    for (const Event& event : plan_.events) {
        Perform(event);
    }
    End();
    if (report_.firstUnexplained() == nullptr || report_.firstUnexplained()->judge != 'g') {
        stretches_.Judge(plan_, judges_, user_);
    }
    report_.calls = world_.machine().faults().calls();
    report_.switches = world_.machine().switches();
    report_.savesGivenUp = static_cast<std::uint64_t>(world_.log().savesGivenUp());
    report_.virtualMs = world_.machine().NowMilliseconds();
    if (!report_.findings.empty()) {
        report_.log = world_.log().Tail();
    }
    return std::move(report_);
}

}  // namespace

bool Report::unexplained() const {
    return firstUnexplained() != nullptr;
}

const Finding* Report::firstUnexplained() const {
    const auto found = std::find_if(findings.begin(), findings.end(),
                                    [](const Finding& finding) { return finding.knownLimit.empty(); });
    return found == findings.end() ? nullptr : &*found;
}

Report Live(const Plan& plan) {
    return Life(plan).Run();
}

}  // namespace tavi::lives

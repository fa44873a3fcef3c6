#include "lives/stretches.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "lives/reference.h"

namespace tavi::lives {

Stretch* Stretches::Current(std::size_t user) {
    return stretches_.at(user).empty() ? nullptr : &stretches_.at(user).back();
}

Stretch* Stretches::Begin(std::size_t user, std::size_t folder) {
    Stretch stretch;
    stretch.user = user;
    stretch.base = CopyToMemory(world_.DatabaseFile(user));
    const auto image = stretch.base ? lives::Look(stretch.base.get()) : std::nullopt;
    if (!image) {
        return nullptr;
    }
    // A start that was cut short may not have stored its folder yet.
    const auto* const stored = std::find(std::begin(kFolders), std::end(kFolders), image->listenPath);
    stretch.folder = stored != std::end(kFolders) ? static_cast<std::size_t>(stored - kFolders) : folder;
    stretch.comparable = image->hasUser;
    stretch.position = image->position;
    stretch.journal = world_.journalId();
    stretch.folderAtStart = StateOf(world_.volume(), kFolders[stretch.folder]);
    stretches_.at(user).push_back(std::move(stretch));
    interrupted_.at(user) = false;
    return Current(user);
}

bool Stretches::Look(std::size_t user) {
    auto image = lives::Look(world_.DatabaseFile(user));
    if (Current(user) == nullptr || !image || isInterrupted(user)) {
        return false;
    }
    ++report_.looks;
    Current(user)->looks.push_back(std::move(*image));
    return true;
}

void Stretches::LookAtAll() {
    for (std::size_t user = 0; user < kUsers; ++user) {
        Look(user);
    }
}

// Where every thread runs at once, the service may be about to open or to close the database.
bool Stretches::LookPatiently(std::size_t user) {
    constexpr int kAttempts = 100;
    for (int attempt = 0; attempt < kAttempts && Current(user) != nullptr; ++attempt) {
        if (Look(user)) {
            return true;
        }
        world_.Sleep(100);
    }
    return Current(user) == nullptr;
}

void Stretches::Take(std::size_t user) {
    auto image = lives::Look(world_.DatabaseFile(user));
    Stretch* ended = Current(user);
    if (!image || ended == nullptr || image->listenPath != kFolders[ended->folder] || isInterrupted(user) ||
        !world_.IsAtTheEnd(*image, ended->folder) || !world_.DeleteRows(user)) {
        return;
    }
    ++report_.takes;
    const bool comparable = ended->comparable;
    const std::uint64_t journal = ended->journal;
    ended->looks.push_back(std::move(*image));
    // The journal tells further writes to a file that is held open only when it is closed.
    if (!world_.workload().holdsFiles()) {
        ended->folderAtEnd = StateOf(world_.volume(), kFolders[ended->folder]);
    }
    if (Stretch* begun = Begin(user, ended->folder)) {
        begun->comparable = begun->comparable && comparable;
        begun->journal = journal;
    }
}

void Stretches::JournalBroken() {
    for (auto& stretches : stretches_) {
        if (!stretches.empty()) {
            stretches.back().comparable = false;
        }
    }
}

// Whether it is worth while to find out which rule dropped a change.
bool Stretches::SomethingLost(const Plan& plan, const Stretch& stretch, const FolderState& end) const {
    Report trial;
    Judges(plan, world_.truth(), trial).CheckNothingLost(stretch, stretch.looks.back(), end, nullptr);
    return trial.unexplained();
}

void Stretches::JudgeStretch(const Plan& plan, Judges& judges, Stretch& stretch, bool underWay) {
    const std::u16string_view folder = kFolders[stretch.folder];
    const Image& last = stretch.looks.back();
    // Only there it is known what the rows have to tell.
    const bool complete = underWay || stretch.folderAtEnd;
    const FolderState end = stretch.folderAtEnd ? *stretch.folderAtEnd : StateOf(world_.volume(), folder);
    const bool whole = stretch.comparable && stretch.journal == world_.journalId() &&
                       stretch.position >= world_.journalFirst() && world_.log().positionsGivenUp() == 0;
    std::optional<Reference> reference;
    if (whole && (plan.steady || (complete && SomethingLost(plan, stretch, end)))) {
        const std::vector<std::int64_t> inside = world_.truth().Inside(folder, stretch.position);
        const std::int64_t until = stretch.folderAtEnd ? last.position : world_.journalNext();
        reference = RunReference(world_, stretch, until, plan.intervalSeconds, inside, references_++);
        if (!reference->ran) {
            judges.Find('a', "the undisturbed life did not reach the journal's end");
            return;
        }
        if (plan.steady) {
            judges.CompareWithReference(stretch, *reference, inside);
        }
    }
    if (complete) {
        report_.rows += last.changes.size();
        judges.CheckOrigins(stretch, last, end);
    }
    if (complete && whole) {
        judges.CheckNothingLost(stretch, last, end, reference ? &*reference : nullptr);
    }
}

void Stretches::Judge(const Plan& plan, Judges& judges, std::size_t user) {
    for (auto& stretches : stretches_) {
        for (std::size_t i = 0; i < stretches.size(); ++i) {
            const bool underWay = i + 1 == stretches.size() && stretches[i].user == user;
            if (!stretches[i].looks.empty()) {
                JudgeStretch(plan, judges, stretches[i], underWay);
            }
        }
    }
    if (const Stretch* current = Current(user); current != nullptr && !current->looks.empty()) {
        report_.finalContents = current->looks.back().Contents();
    }
}

}  // namespace tavi::lives

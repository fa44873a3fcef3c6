// A life in stretches: from a start after which the client begins anew, or from the moment in which it has taken all
// rows, to the next such moment. Everything that the judges need at the end is kept here. One thread.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "lives/judges.h"
#include "lives/world.h"

namespace tavi::lives {

class Stretches {
public:
    static constexpr std::size_t kUsers = 2;

    Stretches(World& world, Report& report) : world_(world), report_(report) {}

    // The user's stretch that is under way, or null.
    Stretch* Current(std::size_t user);
    // From here on rows and position have to be those of an undisturbed life that begins with what is stored now. Null
    // when that cannot be read; then the stretch before goes on.
    Stretch* Begin(std::size_t user, std::size_t folder);

    // A start was cut short behind a change of its own: what is stored is nobody's stretch until the next one begins.
    void Interrupt(std::size_t user) { interrupted_.at(user) = true; }
    bool isInterrupted(std::size_t user) const { return interrupted_.at(user); }

    // Another reader looks. A look that cannot be had (the file is locked, or not there yet) is no look.
    void LookAtAll();
    // False when there is nothing to be had for a long time.
    bool LookPatiently(std::size_t user);
    // The client deals with all rows and deletes them, if everything that happened is stored: it need not be told of
    // that again, and whatever changes from here on needs a row of its own.
    void Take(std::size_t user);

    // Positions do not say any more what was read.
    void JournalBroken();

    // `user` is the one whose task ran last.
    void Judge(const Plan& plan, Judges& judges, std::size_t user);

private:
    bool Look(std::size_t user);
    bool SomethingLost(const Plan& plan, const Stretch& stretch, const FolderState& end) const;
    void JudgeStretch(const Plan& plan, Judges& judges, Stretch& stretch, bool underWay);

    World& world_;
    Report& report_;
    std::array<std::vector<Stretch>, kUsers> stretches_;
    std::array<bool, kUsers> interrupted_ = {};
    std::size_t references_ = 0;
};

}  // namespace tavi::lives
